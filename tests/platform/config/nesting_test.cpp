// The guard before the TOML parser.
#include "config/nesting.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string repeated(const std::string& text, std::size_t times) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i) result += text;
    return result;
}

const std::string tooMany = repeated("[", frame::mostNesting + 1);
const std::string tooManyDots = repeated(".a", frame::mostNesting + 1);

TEST(Nesting, UpToTheBoundIsFine) {
    EXPECT_EQ(frame::lineNestedTooDeep(""), 0U);
    EXPECT_EQ(frame::lineNestedTooDeep("a = " + repeated("[", frame::mostNesting) + repeated("]", frame::mostNesting)),
              0U);
    EXPECT_EQ(frame::lineNestedTooDeep("a" + repeated(".a", frame::mostNesting) + " = 1"), 0U);
}

TEST(Nesting, BracketsBeyondItAreFoundWithTheirLine) {
    EXPECT_EQ(frame::lineNestedTooDeep("a = 1\nb = " + tooMany), 2U);
    EXPECT_EQ(frame::lineNestedTooDeep("a = " + repeated("[\n", frame::mostNesting + 1)), frame::mostNesting + 1);
    EXPECT_EQ(frame::lineNestedTooDeep("a = " + repeated("{a=", frame::mostNesting + 1)), 1U);
}

TEST(Nesting, LongDottedKeysAreFound) {
    EXPECT_EQ(frame::lineNestedTooDeep("a" + tooManyDots + " = 1"), 1U);
    EXPECT_EQ(frame::lineNestedTooDeep("\n[a" + tooManyDots + "]"), 2U);
}

TEST(Nesting, DotsOfSeveralValuesAreCountedApart) {
    EXPECT_EQ(frame::lineNestedTooDeep("a = [" + repeated("1.5, ", 100) + "]"), 0U);
    EXPECT_EQ(frame::lineNestedTooDeep(repeated("a.b = 1\n", 100)), 0U);
}

TEST(Nesting, StringsAndCommentsDoNotCount) {
    for (const std::string& inside : {tooMany, tooManyDots}) {
        EXPECT_EQ(frame::lineNestedTooDeep("# " + inside + "\na = 1"), 0U);
        EXPECT_EQ(frame::lineNestedTooDeep("a = \"\\\"" + inside + "\""), 0U);
        EXPECT_EQ(frame::lineNestedTooDeep("a = '\"" + inside + "'"), 0U);
        EXPECT_EQ(frame::lineNestedTooDeep("a = \"\"\"\n\"" + inside + "\n\"\"\""), 0U);
        EXPECT_EQ(frame::lineNestedTooDeep("a = '''\n" + inside + "\\'''"), 0U);
    }
}

TEST(Nesting, WhatFollowsAStringCounts) {
    for (const char* string : {"\"\"", "''", "\"\\\\\"", "'\\'", "\"#\"", "'''a''''", "\"\"\"a\"\"\"\"\"", "''''''"}) {
        std::string text = "a = [";
        text += string;
        text += tooMany;
        EXPECT_EQ(frame::lineNestedTooDeep(text), 1U) << string;
    }
}

TEST(Nesting, UnfinishedStringsEndWithTheirLineOrTheText) {
    EXPECT_EQ(frame::lineNestedTooDeep("a = \"b\n" + tooMany), 2U);
    for (const char* text : {"\"", "'", "\"\"\"", "'''", "\"\\", "\"\"\"\\", "#"}) {
        EXPECT_EQ(frame::lineNestedTooDeep(text), 0U) << text;
    }
}

}  // namespace
