// The light string.
#include "platform/light_string.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <list>
#include <utility>

namespace {

std::string textOf(const light_basic_string& text) {
    EXPECT_EQ(text.c_str(), text.data());
    EXPECT_EQ(text.data()[text.size()], '\0');
    EXPECT_EQ(text.empty(), text.size() == 0);
    return {text.data(), text.size()};
}

TEST(LightString, IsADataPointerAndALength) {
    EXPECT_EQ(sizeof(light_basic_string), sizeof(char*) + sizeof(std::size_t));
}

TEST(LightString, HoldsWhatItIsMadeOf) {
    EXPECT_EQ(textOf("10.0.0.1"), "10.0.0.1");
    EXPECT_EQ(textOf(std::string("10.0.0.1")), "10.0.0.1");
    EXPECT_EQ(textOf(std::string_view("10.0.0.1").substr(0, 4)), "10.0");
    const std::string withNul("a\0b", 3);
    EXPECT_EQ(textOf(withNul), withNul);
}

TEST(LightString, NullIsEmpty) {
    EXPECT_EQ(textOf(static_cast<const char*>(nullptr)), "");
    EXPECT_EQ(textOf(nullptr), "");
}

TEST(LightString, EmptyOnesShareTheirData) {
    const light_basic_string empty;
    EXPECT_EQ(textOf(empty), "");
    for (const light_basic_string& other : {light_basic_string(""), light_basic_string(std::string()),
                                            light_basic_string(std::string_view()), light_basic_string(empty)})
        EXPECT_EQ(other.data(), empty.data());
}

TEST(LightString, StorageIsAMultipleOfFourThatHoldsTheNul) {
    for (std::size_t length = 1; length < 100; ++length) {
        const light_basic_string text(std::string(length, 'x'));
        EXPECT_GE(malloc_usable_size(const_cast<char*>(text.data())), (length + 4) / 4 * 4);
    }
}

TEST(LightString, CopyHasDataOfItsOwn) {
    const light_basic_string text("text");
    const light_basic_string copy(text);
    EXPECT_EQ(copy, text);
    EXPECT_NE(copy.data(), text.data());
}

TEST(LightString, MoveTakesTheDataAndLeavesAnEmptyOne) {
    light_basic_string text("text");
    const char* data = text.data();
    const light_basic_string moved(std::move(text));
    EXPECT_EQ(moved.data(), data);
    EXPECT_EQ(textOf(text), "");  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what it promises
}

TEST(LightString, AssignmentReplacesWhatWasThere) {
    light_basic_string text("before");
    const light_basic_string other("other");
    text = other;
    EXPECT_EQ(textOf(text), "other");
    EXPECT_EQ(textOf(other), "other");
    text = light_basic_string("moved");
    EXPECT_EQ(textOf(text), "moved");
    text = "literal";
    EXPECT_EQ(textOf(text), "literal");
    text = light_basic_string();
    EXPECT_EQ(textOf(text), "");
}

TEST(LightString, AssignmentToItselfChangesNothing) {
    light_basic_string text("text");
    light_basic_string& same = text;
    text = same;
    EXPECT_EQ(textOf(text), "text");
    text = std::move(same);
    EXPECT_EQ(textOf(text), "text");
}

TEST(LightString, EqualsByLengthAndOctets) {
    EXPECT_EQ(light_basic_string("a"), light_basic_string(std::string("a")));
    EXPECT_EQ(light_basic_string(), light_basic_string(""));
    EXPECT_NE(light_basic_string("a"), light_basic_string("b"));
    EXPECT_NE(light_basic_string("a"), light_basic_string(std::string("a\0", 2)));
}

TEST(LightString, IsOrderedByOctets) {
    const std::list<light_basic_string> ordered{"", "10.0.0.1", "10.0.0.10", "10.0.0.2", "9", "\x80", "\xFF"};
    for (auto a = ordered.begin(); a != ordered.end(); ++a) {
        for (auto b = ordered.begin(); b != ordered.end(); ++b)
            EXPECT_EQ(*a < *b, std::distance(ordered.begin(), a) < std::distance(ordered.begin(), b));
    }
}

TEST(FrameMemory, IsGivenAndTakenBack) {
    void* const memory = FrameUtil::Malloc(64);
    ASSERT_NE(memory, nullptr);
    EXPECT_GE(malloc_usable_size(memory), 64U);
    FrameUtil::Free(memory);
    FrameUtil::Free(nullptr);
}

}  // namespace
