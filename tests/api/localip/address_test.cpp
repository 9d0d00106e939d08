// Addresses as numbers: the quick path beside inet_addr.
#include "localip/address.h"

#include <gtest/gtest.h>

#include "odd_texts.h"
#include "plain.h"

namespace {

using NEC::hostOrderAddress;

TEST(Address, DottedQuadIsReadInHostOrder) {
    EXPECT_EQ(hostOrderAddress("10.0.0.9"), 0x0A000009U);
    EXPECT_EQ(hostOrderAddress("255.255.255.255"), 0xFFFFFFFFU);
    EXPECT_EQ(hostOrderAddress("0.0.0.0"), 0U);
}

TEST(Address, WhatIsNoAddressIsAllOnes) {
    for (const char* text : {"", "x", "256.1.1.1", "1.2.3.4.5", "1.2.3.", "08.1.1.1"}) {
        EXPECT_EQ(hostOrderAddress(text), 0xFFFFFFFFU) << text;
    }
}

TEST(Address, OddTextsGiveWhatInetAddrGives) {
    for (const std::string& text : odd::texts()) {
        EXPECT_EQ(hostOrderAddress(text), plain::hostOrderAddress(text)) << testing::PrintToString(text);
    }
}

TEST(Address, RandomTextsGiveWhatInetAddrGives) {
    std::mt19937 random(1);
    for (int i = 0; i < 200'000; ++i) {
        const std::string text = odd::make(random);
        ASSERT_EQ(hostOrderAddress(text), plain::hostOrderAddress(text)) << testing::PrintToString(text);
    }
}

TEST(Address, EveryNumberInEveryPlaceGivesWhatInetAddrGives) {
    for (int number = 0; number < 1100; ++number) {
        const std::string text = std::to_string(number);
        for (const std::string& quad : {text + ".1.22.133", "1." + text + ".22.133", "1.22." + text + ".133",
                                        "1.22.133." + text, '0' + text + ".0.0.0", "0.0.0.0" + text}) {
            EXPECT_EQ(hostOrderAddress(quad), plain::hostOrderAddress(quad)) << quad;
        }
    }
}

}  // namespace
