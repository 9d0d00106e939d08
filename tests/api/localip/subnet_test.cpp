// The subnet test on dotted texts.
#include "localip/subnet.h"

#include <gtest/gtest.h>

#include "odd_texts.h"
#include "plain.h"

namespace {

using NEC::IsSameSub;

constexpr int same = 0;
constexpr int malformed = 1;
constexpr int different = 2;

TEST(Subnet, MaskDecidesHowMuchOfTheAddressCounts) {
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3", "255.255.0.0"), same);
    EXPECT_EQ(IsSameSub("10.2.0.0", "10.1.2.3", "255.255.0.0"), different);
    EXPECT_EQ(IsSameSub("10.1.2.0", "10.1.2.3", "255.255.255.255"), different);
    EXPECT_EQ(IsSameSub("0.0.0.0", "10.1.2.3", "0.0.0.0"), same);
}

TEST(Subnet, OctetAbove255IsMalformed) {
    EXPECT_EQ(IsSameSub("10.1.0.256", "10.1.2.3", "255.255.0.0"), malformed);
    EXPECT_EQ(IsSameSub("256.1.0.0", "10.1.2.3", "255.255.0.0"), malformed);
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.256", "255.255.0.0"), malformed);
    EXPECT_EQ(IsSameSub("10.1.0.0", "256.1.2.3", "255.255.0.0"), malformed);
}

TEST(Subnet, FirstOctetThatIsWrongDecides) {
    EXPECT_EQ(IsSameSub("10.2.0.256", "10.1.2.3", "255.255.0.0"), different);
    EXPECT_EQ(IsSameSub("10.256.3.0", "10.1.2.3", "255.255.255.0"), malformed);
}

TEST(Subnet, EmptyFieldOfMaskOrTargetIsMalformed) {
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3", "255..0.0"), malformed);
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3", ".255.0.0"), malformed);
    EXPECT_EQ(IsSameSub("10..0.0", "10.1.2.3", "255.255.0.0"), malformed);
    EXPECT_EQ(IsSameSub(".1.0.0", "10.1.2.3", "255.255.0.0"), malformed);
}

TEST(Subnet, EmptyFieldIsReportedBeforeWhatStandsBehindIt) {
    EXPECT_EQ(IsSameSub("x", "y", "255..x"), malformed);
    EXPECT_EQ(IsSameSub("10..x", "y", "255.0.0.0"), malformed);
    EXPECT_THROW(IsSameSub("10..0.0", "10.1.2.3", "x.255..0"), std::invalid_argument);
}

TEST(Subnet, EmptyFieldOfTheAddressThrows) {
    EXPECT_THROW(IsSameSub("10.1.0.0", "10..2.3", "255.255.0.0"), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.1.0.0", ".1.2.3", "255.255.0.0"), std::invalid_argument);
}

TEST(Subnet, TrailingDotThrowsInEveryText) {
    EXPECT_THROW(IsSameSub("10.1.", "10.1.2.3", "255.255.0.0"), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.1.0.0", "10.1.2.", "255.255.0.0"), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.1.0.0", "10.1.2.3", "255.255."), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.1.0.0", "10.1.2.3.", "255.255.0.0"), std::invalid_argument);
}

TEST(Subnet, TextWithoutANumberThrows) {
    EXPECT_THROW(IsSameSub("", "10.1.2.3", "255.0.0.0"), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.0.0.0", "", "255.0.0.0"), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.0.0.0", "10.1.2.3", ""), std::invalid_argument);
    EXPECT_THROW(IsSameSub("10.0.0.0", "ten.1.2.3", "255.0.0.0"), std::invalid_argument);
}

TEST(Subnet, NumberThatIsNoIntThrows) {
    EXPECT_THROW(IsSameSub("10.0.0.0", "2147483648.1.2.3", "255.0.0.0"), std::out_of_range);
    EXPECT_THROW(IsSameSub("10.0.0.0", "10.1.2.3", "99999999999999999999.0.0.0"), std::out_of_range);
    EXPECT_EQ(IsSameSub("10.0.0.0", "2147483647.1.2.3", "255.0.0.0"), malformed);
    EXPECT_EQ(IsSameSub("10.0.0.0", "10.1.2.3", "2147483647.0.0.0"), same);
}

TEST(Subnet, OnlyTheLeadingNumberOfAFieldCounts) {
    EXPECT_EQ(IsSameSub("10x.1 .0-.0", " 10.+1.2/24.3", "255y.255.0.0"), same);
    EXPECT_EQ(IsSameSub("010.1.0.0", "0010.1.2.3", "0255.255.0.0"), same);  // decimal, whatever the zeros
}

TEST(Subnet, NegativeNumbersPassTheRangeTest) {
    EXPECT_EQ(IsSameSub("-1.0.0.0", "-1.0.0.0", "-1.0.0.0"), same);
    EXPECT_EQ(IsSameSub("10.1.0.0", "-1.1.2.3", "10.255.0.0"), same);
    EXPECT_EQ(IsSameSub("10.1.0.0", "-1.1.2.3", "255.255.0.0"), different);
}

TEST(Subnet, MaskIsNotLimited) {
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3", "511.999.0.256"), IsSameSub("10.1.0.0", "10.1.2.3", "255.231.0.0"));
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3", "511.257.0.256"), same);
}

TEST(Subnet, PrefixLengthIsTheFirstOctetOfAMask) {
    EXPECT_EQ(IsSameSub("8.0.0.0", "10.1.2.3", "24"), same);
    EXPECT_EQ(IsSameSub("10.1.2.0", "10.1.2.3", "24"), different);
}

TEST(Subnet, MissingFieldsAreZero) {
    EXPECT_EQ(IsSameSub("10.1", "10.1.2.3", "255.255"), same);
    EXPECT_EQ(IsSameSub("10", "10", "255"), same);
    EXPECT_EQ(IsSameSub("10.1", "10", "255.255"), different);
}

TEST(Subnet, MoreThanFourFieldsAreMalformed) {
    EXPECT_EQ(IsSameSub("10.1.0.0.0", "10.1.2.3", "255.255.0.0"), malformed);
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3.4", "255.255.0.0"), malformed);
    EXPECT_EQ(IsSameSub("10.1.0.0", "10.1.2.3", "255.255.0.0.0"), malformed);
    std::string long_ = "10";
    for (int i = 0; i < 10'000; ++i) long_ += ".1";
    EXPECT_EQ(IsSameSub(long_, long_, long_), malformed);
}

void expectPlainOutcome(const std::string& target, const std::string& ip, const std::string& mask) {
    ASSERT_EQ(plain::outcome(IsSameSub, target, ip, mask), plain::outcome(plain::isSameSub, target, ip, mask))
        << testing::PrintToString(target) << ' ' << testing::PrintToString(ip) << ' ' << testing::PrintToString(mask);
}

TEST(Subnet, OddTextsGiveWhatThePlainTestGives) {
    for (const std::string& text : odd::texts()) {
        expectPlainOutcome(text, "10.1.2.3", "255.255.0.0");
        expectPlainOutcome("10.1.0.0", text, "255.255.0.0");
        expectPlainOutcome("10.1.0.0", "10.1.2.3", text);
        expectPlainOutcome(text, text, "255.255.255.255");
        expectPlainOutcome(text, text, text);
    }
}

TEST(Subnet, RandomTextsGiveWhatThePlainTestGives) {
    std::mt19937 random(1);
    for (int i = 0; i < 100'000; ++i) {
        const std::string target = odd::make(random);
        const std::string ip = random() % 2 == 0 ? target : odd::make(random);
        const std::string mask = random() % 2 == 0 ? "255.255.255.255" : odd::make(random);
        expectPlainOutcome(target, ip, mask);
    }
}

}  // namespace
