// Escaping for log lines.
#include "log/escape.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string escaped(std::string_view text) {
    std::string line = "> ";
    frame::appendEscaped(line, text);
    return line.substr(2);
}

TEST(Escape, PlainAndMultiByteTextStaysAsItIs) {
    for (const char* text :
         {"", "text", "C:\\path", "gr\u00FC\u00DFe", "\u6F22\u5B57", "\U0001F600", "\U0010FFFF", "\u00A0"}) {
        EXPECT_EQ(escaped(text), text);
    }
}

TEST(Escape, LineEndsAndTabHaveNames) {
    EXPECT_EQ(escaped("a\nb\rc\td"), "a\\nb\\rc\\td");
}

TEST(Escape, EveryAsciiControlIsEscaped) {
    for (int control = 0; control < 128; ++control) {
        if (control >= 0x20 && control != 0x7F) continue;
        const std::string text = escaped(std::string(1, static_cast<char>(control)));
        EXPECT_EQ(text[0], '\\') << control;
        EXPECT_LE(text.size(), 4U);
    }
    EXPECT_EQ(escaped(std::string_view("\0\x1B\x7F", 3)), "\\x00\\x1B\\x7F");
}

TEST(Escape, ControlsBeyondAsciiAndUnicodeLineEndsAreEscaped) {
    EXPECT_EQ(escaped("\u0085\u009B"), "\\xC2\\x85\\xC2\\x9B");
    EXPECT_EQ(escaped("\u2028\u2029"), "\\xE2\\x80\\xA8\\xE2\\x80\\xA9");
}

TEST(Escape, WhatIsNotUtf8IsEscapedOctetByOctet) {
    EXPECT_EQ(escaped("a\x80z"), "a\\x80z");                         // continuation alone
    EXPECT_EQ(escaped("\xC3"), "\\xC3");                             // cut off
    EXPECT_EQ(escaped("\xE2\x82z"), "\\xE2\\x82z");                  // cut off by another character
    EXPECT_EQ(escaped("\xC0\x8A"), "\\xC0\\x8A");                    // newline in two octets
    EXPECT_EQ(escaped("\xE0\x80\x8A"), "\\xE0\\x80\\x8A");           // newline in three octets
    EXPECT_EQ(escaped("\xED\xA0\x80"), "\\xED\\xA0\\x80");           // surrogate
    EXPECT_EQ(escaped("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");  // beyond Unicode
    EXPECT_EQ(escaped("\xFF\xFE"), "\\xFF\\xFE");
}

TEST(Escape, EveryOctetIsEscapedWhereverItStandsInPlainText) {
    const std::string plain = "abcdefghijklmnopqrstuvwxyz ~";
    for (unsigned octet = 0; octet < 256; ++octet) {
        const std::string alone(1, static_cast<char>(octet));
        for (std::size_t place = 0; place <= plain.size(); ++place) {
            const std::string before = plain.substr(0, place);
            const std::string behind = plain.substr(place);
            EXPECT_EQ(escaped(before + alone + behind), before + escaped(alone) + behind) << octet << " at " << place;
        }
    }
}

TEST(Utf8, IsAnyCharacterThatUnicodeHas) {
    for (const char* text :
         {"", "text", "\n\x1B\x7F", "gr\u00FC\u00DFe", "\u0080\u07FF\u0800\uD7FF\uE000\uFFFF", "\U00010000\U0010FFFF"})
        EXPECT_TRUE(frame::isUtf8(text)) << text;
    EXPECT_TRUE(frame::isUtf8(std::string_view("\0", 1)));
}

TEST(Utf8, IsNothingElseWhereverItStands) {
    for (const char* wrong :
         {"\x80", "\xBF", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xC0\x8A", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
          "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF"}) {
        for (const char* before : {"", "plain text", "\u00FC"}) {
            for (const char* behind : {"", "z", "\u00FC"})
                EXPECT_FALSE(frame::isUtf8(std::string(before) + wrong + behind)) << escaped(wrong);
        }
    }
}

}  // namespace
