// Addresses, and bounded reading.
#include "text/ipv4.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/folder.h"
#include "text/read.h"

namespace {

TEST(DottedQuad, IsFourNumbersOfOneOctet) {
    for (const char* address : {"0.0.0.0", "10.0.0.5", "255.255.255.255"})
        EXPECT_TRUE(frame::isDottedQuad(address)) << address;
}

TEST(DottedQuad, IsNothingElse) {
    for (const char* text : {"", "1", "1.2.3", "1.2.3.", ".1.2.3.4", "1.2.3.4.5", "1..3.4", "1.2.3.256", "1.2.3.-4",
                             "1.2.3.0x4", "01.2.3.4", " 1.2.3.4", "1.2.3.4 ", "1.2.3.4/24", "1.2.3.4;", "::1", "host"})
        EXPECT_FALSE(frame::isDottedQuad(text)) << text;
    EXPECT_FALSE(frame::isDottedQuad(std::string("1.2.3.4\0", 8)));
    EXPECT_FALSE(frame::isDottedQuad(std::string(100'000, '1')));
}

std::optional<std::string> readUpTo(const std::string& file, std::size_t most) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "re"), &std::fclose);
    return frame::readUpTo(stream.get(), most);
}

TEST(BoundedReading, GivesWhatThereIsWhole) {
    const support::Folder folder;
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 1000000U}) {
        std::string text(size, 'x');
        if (size > 2) text[size / 2] = '\0';
        EXPECT_EQ(readUpTo(folder.write("text", text), 1000000), text);
    }
}

TEST(BoundedReading, StopsSoonAfterTheMost) {
    const auto text = readUpTo("/dev/zero", 100'000);
    ASSERT_TRUE(text);
    EXPECT_GT(text->size(), 100'000U);
    EXPECT_LT(text->size(), 200'000U);
}

TEST(BoundedReading, TellsWhatCannotBeRead) {
    EXPECT_FALSE(readUpTo("/", 1));
    EXPECT_EQ(errno, EISDIR);
}

}  // namespace
