// What announces a broadcast that stands in pieces, the hash of its octets, and pieces that are held meanwhile.
#include <gtest/gtest.h>

#include "bus/nats/hash.h"
#include "bus/nats/headers.h"
#include "bus/nats/live_pieces.h"
#include "foreigner.h"

using frame::nats::Announcement;
using frame::nats::Hash;
using frame::nats::readAnnouncement;
using frame::nats::writeAnnouncement;
using natstest::hashOf;

TEST(NatsAnnouncement, WhatIsWrittenIsReadAgain) {
    const Announcement announcement{0xABCDEF, 129, 67108864, hashOf("x")};
    EXPECT_EQ(readAnnouncement(writeAnnouncement(announcement)), announcement);
    EXPECT_EQ(announcement.pieceOctets(), 520224U);
    EXPECT_EQ(announcement.octetsOf(127), 520224U);
    EXPECT_EQ(announcement.octetsOf(128), 67108864U - 128 * 520224U);
}

TEST(NatsAnnouncement, NumbersThatCannotBeAreRefused) {
    const std::string hash(Hash::digits, '0');
    ASSERT_TRUE(readAnnouncement("1 2 3 " + hash));
    ASSERT_TRUE(readAnnouncement("1 1024 536870912 " + hash));
    for (const char* numbers :
         {"", "1", "1 2", "0x1 2 3", "1 -2 3", "1 1 3", "1 0 3", "1 4 3", "1 2 0", "1 2 536870913", "1 2 4294967297",
          "1 524289 536870912", "1 6 10", "g 2 3", "1  2 3", "1 2 3 4", " 1 2 3", "01 2 3", "10000000000000000 2 3"})
        EXPECT_FALSE(readAnnouncement(std::string(numbers) + ' ' + hash)) << "\"" << numbers << "\"";
}

TEST(NatsAnnouncement, HashThatCannotBeIsRefused) {
    const std::string hash(Hash::digits, 'a');
    for (const std::string& text :
         {std::string(), hash + 'a', hash.substr(1), hash.substr(1) + 'A', hash.substr(1) + 'g', hash + ' '})
        EXPECT_FALSE(readAnnouncement("1 2 3 " + text)) << text;
}

TEST(NatsHash, IsTheSameForTheSameOctetsInOtherParts) {
    EXPECT_EQ(hashOf(""), "99aa06d3014798d86001c324468d497f");
    Hash parts;
    parts.add("hello ");
    parts.add("world");
    EXPECT_EQ(parts.text(), hashOf("hello world"));
    EXPECT_NE(parts.text(), hashOf("hello_world"));
}

// Pieces that are held.

namespace {

frame::nats::Message messageOn(const char* subject, std::string_view octets) {
    natstest::check(nats_Open(-1), "client library");
    natsMsg* made = nullptr;
    natstest::check(natsMsg_Create(&made, subject, nullptr, octets.data(), static_cast<int>(octets.size())), subject);
    return frame::nats::Message(made);
}

}  // namespace

TEST(NatsLivePieces, OldestGoWhenThereIsNoRoom) {
    frame::nats::LivePieces pieces({10, 8});
    for (const char* subject : {"a", "b", "c"}) pieces.put(messageOn(subject, "four"));
    EXPECT_EQ(pieces.octets(), 8U);
    EXPECT_FALSE(pieces.take("a"));
    EXPECT_TRUE(pieces.take("c"));
    EXPECT_TRUE(pieces.take("b"));
    EXPECT_FALSE(pieces.take("b"));
    EXPECT_EQ(pieces.octets(), 0U);
}

TEST(NatsLivePieces, SmallOnesWithoutEndTakeNoMoreThanTheirNumber) {
    frame::nats::LivePieces pieces({2, 1000});
    for (int i = 0; i < 100; ++i) pieces.put(messageOn(std::to_string(i).c_str(), ""));
    EXPECT_FALSE(pieces.take("97"));
    EXPECT_TRUE(pieces.take("98"));
    EXPECT_TRUE(pieces.take("99"));
}

TEST(NatsLivePieces, RepeatedOneTakesTheOthersPlaceAndATooLargeOneNone) {
    frame::nats::LivePieces pieces({10, 8});
    pieces.put(messageOn("a", "four"));
    pieces.put(messageOn("a", "three"));
    EXPECT_EQ(pieces.octets(), 5U);
    pieces.put(messageOn("b", "more than eight"));
    EXPECT_FALSE(pieces.take("b"));
    EXPECT_TRUE(pieces.take("a"));
    pieces.put(messageOn("c", "c"));
    pieces.clear();
    EXPECT_EQ(pieces.octets(), 0U);
}
