// INTEGER and OCTET STRING.
#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "support/octets.h"

using support::encodedHex;
using support::octets;

namespace {

std::string printed(const AsnType& value) {
    std::ostringstream os;
    value.Print(os, 0, false);
    return os.str();
}

}  // namespace

TEST(AsnIntTest, IsWrittenInTheFewestOctetsAndReadBack) {
    const std::pair<std::int32_t, const char*> cases[] = {{0, "020100"},
                                                          {1, "020101"},
                                                          {127, "02017F"},
                                                          {128, "02020080"},
                                                          {-1, "0201FF"},
                                                          {-128, "020180"},
                                                          {-129, "0202FF7F"},
                                                          {32767, "02027FFF"},
                                                          {32768, "0203008000"},
                                                          {8388607, "02037FFFFF"},
                                                          {8388608, "020400800000"},
                                                          {std::numeric_limits<std::int32_t>::max(), "02047FFFFFFF"},
                                                          {std::numeric_limits<std::int32_t>::min(), "020480000000"}};
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(encodedHex(AsnInt(value)), expected);
        // Alone, and with octets behind it: two ways of reading.
        for (const char* behind : {"", "FFFFFFFF"}) {
            const std::string text = octets(expected) + octets(behind);
            AsnBuf buf{std::string_view(text)};
            AsnInt read(99);
            AsnLen count = 1;
            read.BDec(buf, count, 1);
            EXPECT_EQ(read, value);
            EXPECT_EQ(count, 1 + std::string_view(expected).size() / 2);
            EXPECT_EQ(buf.offset(), std::string_view(expected).size() / 2);
        }
    }
}

TEST(AsnIntTest, PaddedContentsOfUpToFourOctetsAreRead) {
    AsnInt value;
    EXPECT_TRUE(frame::decode(octets("02 04 00000005"), value).ok);
    EXPECT_EQ(value, 5);
}

TEST(AsnIntTest, EmptyAndTooLongContentsAreRefused) {
    for (const char* wrong : {"0200", "02050000000001", "0280"}) {
        AsnInt value(3);
        const frame::DecodeResult result = frame::decode(octets(wrong), value);
        EXPECT_FALSE(result.ok) << wrong;
        EXPECT_EQ(result.code, -57) << wrong;
        EXPECT_EQ(value, 3);
    }
}

TEST(AsnIntTest, PrintsItsNumberAndClones) {
    const AsnInt value(-7);
    EXPECT_EQ(printed(value), "-7");
    EXPECT_STREQ(value.typeName(), "AsnInt");
    const std::unique_ptr<AsnInt> clone(value.Clone());
    EXPECT_EQ(*clone, -7);
}

TEST(AsnOctsTest, EveryLengthAroundItsOwnMemoryIsWrittenReadAndCopied) {
    for (const std::size_t size : {0U, 1U, 2U, 3U, 4U, 7U, 8U, 15U, 16U, 17U, 31U, 127U, 128U, 1000U}) {
        std::string text;
        for (std::size_t i = 0; i < size; ++i) text += static_cast<char>(i * 7);
        const AsnOcts value(text);
        AsnOcts read("something else that is longer than sixteen");
        const frame::DecodeResult result = frame::decode(frame::encode(value).view(), read);
        EXPECT_TRUE(result.ok) << result.text;
        EXPECT_EQ(read.view(), text);
        const AsnOcts copy(read);
        EXPECT_EQ(copy, value);
        EXPECT_EQ(copy.size(), size);
    }
}

TEST(AsnOctsTest, AssignmentFromItsOwnPartsIsSafe) {
    for (const std::size_t size : {10U, 100U}) {
        std::string text(size, 'x');
        text += "tail";
        AsnOcts value(text);
        value = value.view().substr(size);
        EXPECT_EQ(value.view(), "tail");
        const AsnOcts& self = value;
        value = self;
        EXPECT_EQ(value.str(), "tail");
    }
}

TEST(AsnOctsTest, ShorterAndLongerTextsReplaceOneAnother) {
    AsnOcts value;
    for (const std::size_t size : {5U, 50U, 3U, 40U, 500U, 0U, 17U}) {
        value = std::string(size, 'y');
        EXPECT_EQ(value.view(), std::string(size, 'y'));
    }
}

TEST(AsnOctsTest, PrintsTextInQuotesAndOtherOctetsInHexadecimal) {
    EXPECT_EQ(printed(AsnOcts("10.1.1.5")), "\"10.1.1.5\"");
    EXPECT_EQ(printed(AsnOcts("a\n")), "'610A'H");
    EXPECT_EQ(printed(AsnOcts("\"")), "'22'H");
    EXPECT_EQ(printed(AsnOcts()), "\"\"");
}

TEST(AsnOctsTest, ConstructedFormAndIndefiniteLengthAreRefused) {
    AsnOcts value("kept");
    EXPECT_EQ(frame::decode(octets("24 04 0402 4142"), value).code, -55);
    EXPECT_EQ(frame::decode(octets("04 80 4142 0000"), value).code, -52);
    EXPECT_EQ(value.view(), "kept");
}

TEST(DecodeTest, OctetsBehindTheValueAreRefusedAtTheirOffset) {
    AsnInt value;
    const frame::DecodeResult result = frame::decode(octets("020105 00"), value);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.offset, 3U);
    EXPECT_EQ(result.code, -59);
    EXPECT_FALSE(result.text.empty());
}

TEST(DecodeTest, AWrongIdentifierIsToldAtItsOwnOffset) {
    AsnInt value;
    const frame::DecodeResult result = frame::decode(octets("040105"), value);
    EXPECT_EQ(result.offset, 0U);
    EXPECT_EQ(result.text, "no identifier of INTEGER");
}
