// AsnBuf and the reading and writing of identifiers and lengths.
#include <gtest/gtest.h>

#include "support/octets.h"

using support::hex;
using support::octets;
using support::thrownBy;

TEST(AsnBufTest, OctetsWrittenBackToFrontStandInReverseOrder) {
    AsnBuf buf;
    buf.PutByteRvs(3);
    buf.PutSegRvs("\x01\x02", 2);
    EXPECT_EQ(hex(buf.view()), "010203");
}

TEST(AsnBufTest, GrowingKeepsWhatWasWritten) {
    AsnBuf buf;
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        buf.PutByteRvs(static_cast<unsigned char>(i));
        expected.insert(expected.begin(), static_cast<char>(i));
    }
    buf.PutSegRvs(expected.data(), expected.size());
    EXPECT_EQ(buf.view(), expected + expected);
}

TEST(AsnBufTest, ReadingPastTheEndGivesZeroAndSetsTheFlag) {
    AsnBuf buf(std::string_view("\x05", 1));
    EXPECT_EQ(buf.GetByte(), 5);
    EXPECT_FALSE(buf.readError());
    EXPECT_EQ(buf.PeekByte(), 0);
    EXPECT_FALSE(buf.readError());
    EXPECT_EQ(buf.GetByte(), 0);
    EXPECT_TRUE(buf.readError());
    EXPECT_EQ(buf.offset(), 1U);
}

TEST(AsnBufTest, TooLongARunIsNotTaken) {
    AsnBuf buf(std::string_view("ab"));
    EXPECT_EQ(buf.GetSeg(3), nullptr);
    EXPECT_TRUE(buf.readError());
    EXPECT_EQ(buf.size(), 2U);
}

TEST(AsnBufTest, LookingAheadLeavesThePositionWhereItWas) {
    AsnBuf buf(std::string_view("abc"));
    const unsigned char* position = buf.position();
    buf.GetSeg(2);
    buf.setPosition(position);
    EXPECT_EQ(buf.GetByte(), 'a');
    EXPECT_EQ(buf.PeekByte(1), 'c');
    EXPECT_EQ(buf.PeekByte(2), 0);
}

TEST(AsnBufTest, AWindowHidesWhatLiesBeyond) {
    AsnBuf buf(std::string_view("abc"));
    {
        const AsnBuf::Window window(buf, 1);
        buf.GetByte();
        EXPECT_TRUE(buf.exhausted());
    }
    EXPECT_EQ(buf.size(), 2U);
}

TEST(AsnBufTest, AWindowLargerThanWhatIsLeftIsRefusedAndLeavesTheBufferAsItWas) {
    AsnBuf buf(std::string_view("abc"));
    buf.GetByte();
    const auto error = thrownBy([&] { AsnBuf::Window(buf, 3); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -52);
    EXPECT_EQ(buf.view(), "bc");
    const AsnBuf::Window all(buf, 2);
    const AsnBuf::Window indefinite(buf, asnIndefiniteLength);
    EXPECT_EQ(buf.view(), "bc");
}

TEST(AsnBufTest, The65thWindowInsideOneAnotherIsRefused) {
    AsnBuf buf(std::string_view("abc"));
    std::vector<std::unique_ptr<AsnBuf::Window>> windows;
    for (int i = 0; i < 64; ++i) windows.push_back(std::make_unique<AsnBuf::Window>(buf, 3));
    const auto error = thrownBy([&] { AsnBuf::Window(buf, 3); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -60);
}

TEST(IdentifierTest, HighTagNumbersOfUpToFourOctetsAreRead) {
    AsnBuf buf(std::string_view("\x81\x82\x03", 3));
    AsnLen count = 0;
    EXPECT_EQ(BDecTag_Impl(buf, 0x3F, count), 0x3F818203U);
    EXPECT_EQ(count, 3U);
}

TEST(IdentifierTest, MoreThanFourOctetsAreRefused) {
    AsnBuf buf(std::string_view("\x81\x82\x83\x04", 4));
    AsnLen count = 0;
    const auto error = thrownBy([&] { BDecTag_Impl(buf, 0x3F, count); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -51);
}

TEST(IdentifierTest, AnIdentifierThatEndsTooEarlyIsRefused) {
    AsnBuf buf(std::string_view("\x81", 1));
    AsnLen count = 0;
    const auto error = thrownBy([&] { BDecTag_Impl(buf, 0x3F, count); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -51);
    EXPECT_TRUE(buf.readError());
}

TEST(LengthTest, TheLongFormIsWrittenInTheFewestOctetsAndReadBack) {
    const std::pair<AsnLen, const char*> cases[] = {
        {128, "8180"}, {255, "81FF"}, {256, "820100"}, {65536, "83010000"}, {0x12345678, "8412345678"}};
    for (const auto& [length, expected] : cases) {
        AsnBuf out;
        EXPECT_EQ(BEncDefLenImpl(out, length), std::string_view(expected).size() / 2);
        EXPECT_EQ(hex(out.view()), expected);
        if (length > 256) continue;  // reading checks that so much is there
        const std::string text = octets(expected) + std::string(length, 'x');
        AsnBuf in{std::string_view(text)};
        AsnLen count = 0;
        EXPECT_EQ(BDecLen_Impl(in, in.GetByte(), count), length);
        EXPECT_EQ(count, std::string_view(expected).size() / 2 - 1);
    }
}

TEST(LengthTest, LeadingZerosOfALongLengthAreRead) {
    const std::string text = octets("84 00000001 41");
    AsnBuf buf{std::string_view(text)};
    AsnLen count = 0;
    EXPECT_EQ(BDecLen_Impl(buf, buf.GetByte(), count), 1U);
}

TEST(LengthTest, OneOctet0x80IsIndefinite) {
    AsnBuf buf(std::string_view{});
    AsnLen count = 0;
    EXPECT_EQ(BDecLen_Impl(buf, 0x80, count), asnIndefiniteLength);
    EXPECT_EQ(count, 0U);
}

TEST(LengthTest, ALengthBeyondWhatIsLeftIsRefused) {
    for (const char* text :
         {"84FFFFFFFF", "8103 4141", "88FFFFFFFFFFFFFFFF", "FF", "8901020304050607080910", "8141", "84 01"}) {
        const std::string input = octets(text);
        AsnBuf buf{std::string_view(input)};
        AsnLen count = 0;
        const auto error = thrownBy([&] { BDecLen_Impl(buf, buf.GetByte(), count); });
        ASSERT_TRUE(error) << text;
        EXPECT_EQ(error->code(), -52) << text;
    }
}

TEST(EndOfContentsTest, IsTakenOrRefused) {
    AsnBuf buf(std::string_view("\0\0", 2));
    AsnLen count = 5;
    BDecEoc(buf, count);
    EXPECT_EQ(count, 7U);
    for (const std::string& wrong : {std::string(), std::string(1, '\0'), octets("0001")}) {
        AsnBuf other{std::string_view(wrong)};
        const auto error = thrownBy([&] { BDecEoc(other, count); });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code(), -53);
    }
}

TEST(IndentTest, HasTwoBlanksALevelAndEndsAtLevel64) {
    EXPECT_STREQ(AsnIndent(0), "");
    EXPECT_STREQ(AsnIndent(3), "      ");
    EXPECT_EQ(std::string_view(AsnIndent(64)).size(), 128U);
    EXPECT_EQ(AsnIndent(65), nullptr);
}
