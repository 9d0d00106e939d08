// What headers say, and messages that come in pieces.
#include "bus/nats/pieces.h"

#include <gtest/gtest.h>

#include "bus/nats/subjects.h"

using frame::nats::Piece;
using frame::nats::Pieces;
using frame::nats::readAddress;
using frame::nats::readDeadline;
using frame::nats::readId;
using frame::nats::readPiece;

namespace {

constexpr CProcID sender{3001, 7};

std::string taken(Pieces& pieces, const Piece& piece, std::string_view octets,
                  Pieces::Clock::time_point now = Pieces::Clock::now()) {
    const auto result = pieces.take("subject", sender, piece, octets, now);
    if (result.whole) return std::string(result.whole->view());
    return result.error.empty() ? "more" : "error";
}

}  // namespace

TEST(HeadersTest, WhatIsWrittenIsRead) {
    EXPECT_EQ(frame::nats::writeAddress({3001, 7}), "3001.7");
    EXPECT_EQ(readAddress("3001.7"), (std::optional<CProcID>{{3001, 7}}));
    const Piece piece{0xFEDCBA9876543210, 3, 128, 64U << 20U};
    EXPECT_EQ(frame::nats::writePiece(piece), "fedcba9876543210 3 128 67108864");
    EXPECT_EQ(readPiece(frame::nats::writePiece(piece)), piece);
    EXPECT_EQ(readId("0xB0000F"), std::optional(0xB0000FUL));
    EXPECT_EQ(readId("0x0"), std::optional(0UL));
    EXPECT_EQ(readDeadline("30000"), std::optional(std::chrono::milliseconds(30000)));
}

TEST(HeadersTest, OtherTextsAreRefused) {
    for (const char* text : {"", ".", "1", "1.", ".1", "1.1.1", "0.1", "1.0", "-1.1", "1.65536", "01.1", "1.1 ", "a.b"})
        EXPECT_EQ(readAddress(text), std::nullopt) << text;
    for (const char* text : {"", "0x", "B0", "0X1", "0xG", "0x1 ", "0x-1", "0x01", "0x11111111111111111"})
        EXPECT_EQ(readId(text), std::nullopt) << text;
    for (const char* text : {"", "-1", "1.5", "4294967296", "1s"}) EXPECT_EQ(readDeadline(text), std::nullopt) << text;
    for (const char* text : {"", "1 0 2", "1 0 2 9 9", "g 0 2 9", "1 2 2 9", "1 0 1 9", "1 0 0 9", "1 0 9 8",
                             "1 0 2 67108865", "1  0 2 9", "1 0 2 9 "})
        EXPECT_EQ(readPiece(text), std::nullopt) << text;
}

TEST(SubjectsTest, SubjectsAndServersAreTold) {
    for (const char* text : {"nec", "a.b-c_D.9"}) EXPECT_TRUE(frame::nats::isSubject(text)) << text;
    for (const char* text : {"", ".", "a.", "a..b", "a.*", ">", "a b", "\xC3\xA4"})
        EXPECT_FALSE(frame::nats::isSubject(text)) << text;
    for (const char* text : {"nats://a:1", "tls://[::1]:65535"}) EXPECT_TRUE(frame::nats::isServer(text)) << text;
    for (const char* text : {"a:1", "http://a:1", "nats://a", "nats://u:p@a:1", "nats://a:1,b:2", "nats://a:65536"})
        EXPECT_FALSE(frame::nats::isServer(text)) << text;
}

TEST(PiecesTest, PiecesInTheirOrderAreTheMessage) {
    Pieces pieces(100);
    EXPECT_EQ(taken(pieces, {1, 0, 3, 6}, "ab"), "more");
    EXPECT_EQ(taken(pieces, {1, 1, 3, 6}, "cd"), "more");
    EXPECT_EQ(pieces.octets(), 4U);
    EXPECT_EQ(taken(pieces, {1, 2, 3, 6}, "ef"), "abcdef");
    EXPECT_EQ(pieces.octets(), 0U);
}

TEST(PiecesTest, MessagesOfSeveralSendersAndSubjectsMayMix) {
    Pieces pieces(100);
    EXPECT_TRUE(pieces.take("a", {1, 1}, {1, 0, 2, 4}, "ab").error.empty());
    EXPECT_TRUE(pieces.take("a", {1, 2}, {1, 0, 2, 4}, "cd").error.empty());
    EXPECT_TRUE(pieces.take("b", {1, 1}, {1, 0, 2, 4}, "ef").error.empty());
    EXPECT_EQ(pieces.take("a", {1, 1}, {1, 1, 2, 4}, "12").whole->view(), "ab12");
    EXPECT_EQ(pieces.take("a", {1, 2}, {1, 1, 2, 4}, "12").whole->view(), "cd12");
    EXPECT_EQ(pieces.take("b", {1, 1}, {1, 1, 2, 4}, "12").whole->view(), "ef12");
}

TEST(PiecesTest, MissingRepeatedAndChangedPiecesGiveTheMessageUp) {
    const Piece first{1, 0, 3, 6};
    for (const Piece& second : {Piece{1, 2, 3, 6}, Piece{1, 0, 3, 6}, Piece{1, 1, 4, 6}, Piece{1, 1, 3, 7}}) {
        Pieces pieces(100);
        EXPECT_EQ(taken(pieces, first, "ab"), "more");
        EXPECT_EQ(taken(pieces, second, "cd"), "error");
        EXPECT_EQ(pieces.octets(), 0U);
        EXPECT_EQ(taken(pieces, {1, 1, 3, 6}, "cd"), "error");
    }
}

TEST(PiecesTest, OctetsThatAreNotThoseAnnouncedGiveTheMessageUp) {
    Pieces pieces(100);
    EXPECT_EQ(taken(pieces, {1, 0, 2, 4}, "abcd"), "error");
    EXPECT_EQ(taken(pieces, {1, 0, 2, 4}, "ab"), "more");
    EXPECT_EQ(taken(pieces, {1, 1, 2, 4}, "c"), "error");
    EXPECT_EQ(taken(pieces, {2, 0, 3, 4}, "ab"), "more");
    EXPECT_EQ(taken(pieces, {2, 1, 3, 4}, "cd"), "error");
    EXPECT_EQ(pieces.octets(), 0U);
}

TEST(PiecesTest, MemoryIsBoundedByGivingUpWhatWaitedLongest) {
    Pieces pieces(10);
    for (std::uint64_t message = 0; message < 1000; ++message) {
        EXPECT_EQ(taken(pieces, {message, 0, 2, 8}, "abcd"), "more");
        EXPECT_LE(pieces.octets(), 10U);
    }
    EXPECT_EQ(taken(pieces, {0, 1, 2, 8}, "efgh"), "error");
    EXPECT_EQ(taken(pieces, {999, 1, 2, 8}, "efgh"), "abcdefgh");
}

TEST(PiecesTest, MessageWhoseNextPieceDoesNotComeIsGivenUp) {
    Pieces pieces(100);
    const auto start = Pieces::Clock::now();
    EXPECT_EQ(taken(pieces, {1, 0, 2, 4}, "ab", start), "more");
    EXPECT_EQ(taken(pieces, {2, 0, 2, 4}, "ab", start + std::chrono::hours(1)), "more");
    EXPECT_EQ(pieces.octets(), 2U);
    EXPECT_EQ(taken(pieces, {1, 1, 2, 4}, "cd", start + std::chrono::hours(1)), "error");
    EXPECT_EQ(taken(pieces, {2, 1, 2, 4}, "cd", start + std::chrono::hours(1)), "abcd");
}

TEST(PiecesTest, FirstPieceWithoutOctetsIsRefused) {
    Pieces pieces(100);
    EXPECT_EQ(taken(pieces, {1, 0, 2, 4}, ""), "error");
    EXPECT_EQ(taken(pieces, {1, 1, 2, 4}, "abcd"), "error");
}

TEST(PiecesTest, MessagesUnderWayAreBoundedByGivingUpWhatWaitedLongest) {
    Pieces pieces(100'000);
    for (std::uint64_t message = 0; message <= 1000; ++message)
        EXPECT_EQ(taken(pieces, {message, 0, 2, 2}, "a"), "more");
    EXPECT_EQ(pieces.octets(), 1000U);
    EXPECT_EQ(taken(pieces, {0, 1, 2, 2}, "b"), "error");
    EXPECT_EQ(taken(pieces, {1000, 1, 2, 2}, "b"), "ab");
}
