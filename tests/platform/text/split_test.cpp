// Taking text apart: nothing is dropped, the order is kept.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/text.h"

namespace {

using testing::ElementsAre;

TEST(Split, PiecesComeInOrder) {
    EXPECT_THAT(split("192.168.1.5;192.168.2.5;10.0.0.1", ";"), ElementsAre("192.168.1.5", "192.168.2.5", "10.0.0.1"));
}

TEST(Split, EmptyPiecesAreKept) {
    EXPECT_THAT(split("a;;b", ";"), ElementsAre("a", "", "b"));
    EXPECT_THAT(split(";", ";"), ElementsAre("", ""));
    EXPECT_THAT(split(";a;", ";"), ElementsAre("", "a", ""));
}

TEST(Split, EmptyTextIsOneEmptyPiece) {
    EXPECT_THAT(split("", ";"), ElementsAre(""));
    EXPECT_THAT(split("", ""), ElementsAre(""));
}

TEST(Split, TextWithoutSeparatorStaysWhole) {
    EXPECT_THAT(split("abc", ";"), ElementsAre("abc"));
    EXPECT_THAT(split("abc", "abcd"), ElementsAre("abc"));
}

TEST(Split, EmptySeparatorGivesTheTextWhole) {
    EXPECT_THAT(split("a;b", ""), ElementsAre("a;b"));
}

TEST(Split, SeparatorOfMoreThanOneCharacterIsFoundWhole) {
    EXPECT_THAT(split("a, b,c, ", ", "), ElementsAre("a", "b,c", ""));
    EXPECT_THAT(split("aXXXb", "XX"), ElementsAre("a", "Xb"));
}

TEST(Split, NulIsAnOctetLikeAnyOther) {
    using namespace std::string_literals;
    EXPECT_THAT(split("a\0b;c"s, ";"), ElementsAre("a\0b"s, "c"));
    EXPECT_THAT(split("a\0b"s, "\0"s), ElementsAre("a", "b"));
}

}  // namespace
