// What a channel finds again in its file.
#include "fixture.h"
#include "reliable/store.h"

namespace reliable_test {

namespace {

using testing::ElementsAre;

using ReliableRestart = ReliableTest;

TEST_F(ReliableRestart, UndeliveredMessagesAreDeliveredAfterARestart) {
    open();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    const auto waiting = frame::readOutbox(file(), 2).waiting;
    close();
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(2));
    EXPECT_THAT(mailbox.texts(), ElementsAre("one", "two"));
    ASSERT_EQ(waiting.size(), 2U);
    EXPECT_EQ(mailbox.events()[0].identifier, waiting[0].identifier);
    EXPECT_EQ(mailbox.events()[1].identifier, waiting[1].identifier);
}

TEST_F(ReliableRestart, RefusedMessageIsDeliveredAfterARestart) {
    open();
    {
        const auto refusing = subscribe(someId, [](const ReliableEvent&) { return false; });
        ASSERT_EQ(send("one"), ReliableCode::ok);
        ASSERT_TRUE(bus_.waitForCalls(1));
    }
    close();
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(1));
}

TEST_F(ReliableRestart, DeliveredMessagesDoNotComeBack) {
    open();
    Mailbox mailbox;
    {
        const auto subscription = mailbox.takeAll();
        ASSERT_EQ(send("one"), ReliableCode::ok);
        ASSERT_TRUE(mailbox.waitFor(1));
    }
    close();
    EXPECT_EQ(depth(), 0U);
    open();
    const auto subscription = mailbox.takeAll();
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(2));
    EXPECT_THAT(mailbox.texts(), ElementsAre("one", "two"));
    EXPECT_NE(mailbox.events()[0].identifier, mailbox.events()[1].identifier);
}

TEST_F(ReliableRestart, RepeatIsDroppedAfterARestart) {
    const frame::ReliableMessage message{"elsewhere-1", someId, {1, 1}, frame::encode(AsnOcts("text"))};
    Mailbox mailbox;
    open();
    {
        const auto subscription = mailbox.takeAll();
        EXPECT_EQ(bus_.publishReliable(message), frame::Delivery::done);
    }
    close();
    open();
    const auto subscription = mailbox.takeAll();
    EXPECT_EQ(bus_.publishReliable(message), frame::Delivery::done);
    EXPECT_EQ(mailbox.events().size(), 1U);
}

TEST_F(ReliableRestart, MessageKeepsTheAddressItWasSentFrom) {
    open();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    close();
    const auto moved = local_.connect({3001, 65535});
    const frame::ReliableChannel channel(*moved, {file(), 10});
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(1));
    EXPECT_EQ(mailbox.events().front().sender, self);
}

TEST_F(ReliableRestart, MessagesInTheFileCountForTheLimit) {
    open();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    close();
    open(2);
    EXPECT_EQ(send("three"), ReliableCode::full);
}

TEST_F(ReliableRestart, OnlyTheNewestIdentifiersAreKept) {
    frame::Bookkeeping books;
    for (std::int64_t i = 0; i < frame::inboxCapacity + 5000; ++i) books.handled.push_back(std::to_string(i));
    frame::Store(file()).write({}, books);
    const auto kept = frame::Store(file()).inbox();
    EXPECT_GE(kept.size(), static_cast<std::size_t>(frame::inboxCapacity));
    EXPECT_LT(kept.size(), static_cast<std::size_t>(frame::inboxCapacity + 2000));
    EXPECT_EQ(kept.back(), books.handled.back());
}

}  // namespace

}  // namespace reliable_test
