// Memory functions that check their bounds.
#include "platform/secure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>

namespace {

constexpr std::size_t tooLarge = SIZE_MAX / 2 + 1;
const std::string zeros(8, '\0');

// Eight octets that can be looked at as a text.
class Secure : public testing::Test {
protected:
    std::string buffer_ = "abcdefgh";
};

TEST_F(Secure, CopyTouchesCountOctetsOnly) {
    EXPECT_EQ(memcpy_s(buffer_.data(), 8, "1234", 3), 0);
    EXPECT_EQ(buffer_, "123defgh");
}

TEST_F(Secure, WholeDestinationAndNothingMayBeCopied) {
    EXPECT_EQ(memcpy_s(buffer_.data(), 8, "12345678", 8), 0);
    EXPECT_EQ(memcpy_s(buffer_.data(), 8, "abc", 0), 0);
    EXPECT_EQ(memcpy_s(buffer_.data(), 0, "abc", 0), 0);
    EXPECT_EQ(buffer_, "12345678");
}

TEST_F(Secure, CopyWithoutSourceClearsTheDestination) {
    EXPECT_EQ(memcpy_s(buffer_.data(), 8, nullptr, 0), EINVAL);
    EXPECT_EQ(buffer_, zeros);
}

TEST_F(Secure, CopyWithoutDestinationIsRefused) {
    EXPECT_EQ(memcpy_s(nullptr, 8, "abc", 3), EINVAL);
    EXPECT_EQ(memcpy_s(nullptr, 0, nullptr, 0), EINVAL);
}

TEST_F(Secure, CopyOfMoreThanFitsClearsTheDestination) {
    EXPECT_EQ(memcpy_s(buffer_.data(), 4, "12345", 5), ERANGE);
    EXPECT_EQ(buffer_, zeros.substr(0, 4) + "efgh");
    EXPECT_EQ(memcpy_s(buffer_.data(), 8, "12345", tooLarge), ERANGE);
    EXPECT_EQ(buffer_, zeros);
}

TEST_F(Secure, DestinationOfImpossibleSizeIsLeftAlone) {
    EXPECT_EQ(memcpy_s(buffer_.data(), tooLarge, "123", 3), ERANGE);
    EXPECT_EQ(memset_s(buffer_.data(), tooLarge, 0, 3), ERANGE);
    EXPECT_EQ(buffer_, "abcdefgh");
}

TEST_F(Secure, OverlappingCopyClearsTheDestination) {
    EXPECT_EQ(memcpy_s(buffer_.data(), 4, buffer_.data() + 3, 4), EINVAL);
    EXPECT_EQ(buffer_, zeros.substr(0, 4) + "efgh");
    buffer_ = "abcdefgh";
    EXPECT_EQ(memcpy_s(buffer_.data() + 3, 4, buffer_.data(), 4), EINVAL);
    EXPECT_EQ(buffer_, "abc" + zeros.substr(0, 4) + "h");
}

TEST_F(Secure, NeighboursDoNotOverlap) {
    EXPECT_EQ(memcpy_s(buffer_.data(), 4, buffer_.data() + 4, 4), 0);
    EXPECT_EQ(buffer_, "efghefgh");
}

TEST_F(Secure, SetTouchesCountOctetsOnly) {
    EXPECT_EQ(memset_s(buffer_.data(), 8, 'x', 3), 0);
    EXPECT_EQ(memset_s(buffer_.data(), 8, 'y', 0), 0);
    EXPECT_EQ(buffer_, "xxxdefgh");
    EXPECT_EQ(memset_s(buffer_.data(), 8, 0x100, 8), 0);
    EXPECT_EQ(buffer_, zeros);
}

TEST_F(Secure, SetOfMoreThanThereIsSetsAllThereIs) {
    EXPECT_EQ(memset_s(buffer_.data(), 4, 'x', 5), ERANGE);
    EXPECT_EQ(buffer_, "xxxxefgh");
    EXPECT_EQ(memset_s(buffer_.data(), 8, 0, tooLarge), ERANGE);
    EXPECT_EQ(buffer_, zeros);
}

TEST_F(Secure, SetWithoutDestinationIsRefused) {
    EXPECT_EQ(memset_s(nullptr, 8, 0, 8), EINVAL);
}

// All octets that `text` has room for stay readable while it lives.
void expectWiped(std::string& text) {
    const char* const memory = text.data();
    const std::size_t room = text.capacity();
    FrameUtil::ClearPasswd(text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(text.data(), memory);
    EXPECT_EQ(text.capacity(), room);
    EXPECT_EQ(std::count(memory, memory + room, '\0'), static_cast<std::ptrdiff_t>(room));
}

TEST(ClearPasswd, WipesAllThatTheTextHasRoomFor) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 4096U}) {
        std::string text(size, 'x');
        expectWiped(text);
    }
}

TEST(ClearPasswd, WipesWhatALongerTextLeftBehind) {
    for (const std::size_t size : {15U, 4096U}) {
        std::string text(size, 'x');
        text.resize(1);
        expectWiped(text);
        text.assign(size, 'x');
        text.clear();
        expectWiped(text);
    }
}

}  // namespace
