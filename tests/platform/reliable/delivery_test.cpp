// Delivery of reliable messages: order, waiting, repeats, and what handlers may do.
#include <future>
#include <latch>
#include <thread>

#include "fixture.h"
#include "platform/log.h"

namespace reliable_test {

namespace {

using frame::Delivery;
using testing::ElementsAre;

using ReliableDelivery = ReliableTest;

// Keeps what it is given, and loses it when it is told to: then the next message cannot pass, and whether it has lost
// anything it says only when it is asked for the second time.
class LosingBus final : public support::ForwardingBus {
public:
    using ForwardingBus::ForwardingBus;

    void lose() {
        const std::lock_guard lock(mutex_);
        kept_.clear();
        ++life_;
        down_ = silent_ = true;
    }
    // Waits until it keeps as many messages.
    [[nodiscard]] bool waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        return keeps_.wait_for(lock, patience, [&] { return kept_.size() >= count; });
    }
    std::vector<std::string> kept() const {
        const std::lock_guard lock(mutex_);
        return kept_;
    }

    Delivery publishReliable(const frame::ReliableMessage& message) override {
        const std::lock_guard lock(mutex_);
        if (std::exchange(down_, false)) return Delivery::down;
        AsnOcts text;
        EXPECT_TRUE(frame::decode(message.record.view(), text).ok);
        kept_.push_back(text.str());
        keeps_.notify_all();
        return Delivery::kept;
    }
    std::optional<std::uint64_t> keptLife() override {
        const std::lock_guard lock(mutex_);
        return std::exchange(silent_, false) ? std::nullopt : std::optional(life_);
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable keeps_;
    std::vector<std::string> kept_;
    std::uint64_t life_ = 0;
    bool down_ = false;
    bool silent_ = false;
};

TEST_F(ReliableDelivery, MessagesArriveInTheirOrder) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    std::vector<std::string> sent;
    for (int i = 0; i < 300; ++i) {
        sent.push_back(std::to_string(i));
        ASSERT_EQ(send(sent.back()), ReliableCode::ok);
    }
    ASSERT_TRUE(mailbox.waitFor(300));
    EXPECT_EQ(mailbox.texts(), sent);
}

TEST_F(ReliableDelivery, WhatTheBusLostPassesBeforeAnythingNewer) {
    LosingBus bus(local_.connect({3001, 8}));
    frame::ReliableOptions options{file(), 1'000'000};
    options.hold = std::chrono::hours(1);
    const frame::ReliableChannel channel(bus, options);
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(bus.waitFor(2));
    bus.lose();
    ASSERT_EQ(send("three"), ReliableCode::ok);
    ASSERT_TRUE(bus.waitFor(3));
    EXPECT_THAT(bus.kept(), ElementsAre("one", "two", "three"));
}

TEST_F(ReliableDelivery, MessageTellsWhatItIsAndWhoSentIt) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_EQ(send(std::string("\0\xFF", 2)), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(1));
    const auto event = mailbox.events().front();
    EXPECT_EQ(event.id, someId);
    EXPECT_EQ(event.sender, self);
    EXPECT_EQ(textOf(event), std::string("\0\xFF", 2));
    EXPECT_THAT(event.identifier, testing::MatchesRegex("3001\\.7-[0-9a-f]{32}-1"));
}

TEST_F(ReliableDelivery, UndecodableRecordIsSaidToBeSo) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_EQ(send("text"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(1));
    const frame::LogCapture log;
    AsnInt number;
    EXPECT_FALSE(mailbox.events().front().decode(number));
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_THAT(log.records().front().text, testing::HasSubstr("3001:7"));
}

TEST_F(ReliableDelivery, MessageWaitsForItsReceiver) {
    open();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(bus_.waitForCalls(1));
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(2));
    EXPECT_THAT(mailbox.texts(), ElementsAre("one", "two"));
}

TEST_F(ReliableDelivery, OthersPassAMessageThatHasNoReceiver) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll(otherId);
    ASSERT_EQ(send("stays", someId), ReliableCode::ok);
    ASSERT_EQ(send("passes", otherId), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(1));
    EXPECT_THAT(mailbox.texts(), ElementsAre("passes"));
    close();
    EXPECT_EQ(depth(), 1U);
}

TEST_F(ReliableDelivery, ManyThatWaitComeInTheirOrderWithoutThoseOfOthers) {
    open();
    std::vector<std::string> sent;
    for (int i = 0; i < 400; ++i) {  // several batches of the forwarder
        sent.push_back(std::to_string(i));
        ASSERT_EQ(send(sent.back(), someId), ReliableCode::ok);
        ASSERT_EQ(send("other", otherId), ReliableCode::ok);
    }
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll(someId);
    ASSERT_TRUE(mailbox.waitFor(400));
    EXPECT_EQ(mailbox.texts(), sent);
    close();
    EXPECT_EQ(depth(), 400U);
}

TEST_F(ReliableDelivery, RefusedMessageComesAgainBeforeThoseBehindIt) {
    open();
    Mailbox mailbox;
    std::atomic<int> refusals{2};
    const auto subscription = subscribe(someId, [&](const ReliableEvent& event) {
        mailbox.put(event);
        return refusals.fetch_sub(1) <= 0;
    });
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(4));
    EXPECT_THAT(mailbox.texts(), ElementsAre("one", "one", "one", "two"));
    EXPECT_EQ(mailbox.events()[0].identifier, mailbox.events()[2].identifier);
}

TEST_F(ReliableDelivery, OthersPassARefusedMessage) {
    open();
    Mailbox mailbox;
    const auto refusing = subscribe(someId, [](const ReliableEvent&) { return false; });
    const auto subscription = mailbox.takeAll(otherId);
    ASSERT_EQ(send("refused", someId), ReliableCode::ok);
    ASSERT_EQ(send("passes", otherId), ReliableCode::ok);
    EXPECT_TRUE(mailbox.waitFor(1));
}

TEST_F(ReliableDelivery, ExceptionOfAHandlerIsARefusal) {
    open();
    Mailbox mailbox;
    const auto subscription = subscribe(someId, [&](const ReliableEvent& event) -> bool {
        mailbox.put(event);
        switch (mailbox.events().size()) {
            case 1:
                throw std::runtime_error("not today");
            case 2:
                throw new CSM_Exception(-1, __LINE__, "handler", __FILE__, "not decodable");
            case 3:
                throw 3;
            default:
                return true;
        }
    });
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(5));
    EXPECT_THAT(mailbox.texts(), ElementsAre("one", "one", "one", "one", "two"));
}

TEST_F(ReliableDelivery, AllHandlersMustBeDoneWithAMessage) {
    open();
    Mailbox willing;
    Mailbox hesitant;
    const auto first = willing.takeAll();
    const auto second = subscribe(someId, [&](const ReliableEvent& event) {
        hesitant.put(event);
        return hesitant.events().size() > 1;
    });
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(hesitant.waitFor(3));
    ASSERT_TRUE(willing.waitFor(3));
    EXPECT_THAT(hesitant.texts(), ElementsAre("one", "one", "two"));
    EXPECT_THAT(willing.texts(), ElementsAre("one", "one", "two"));
}

TEST_F(ReliableDelivery, EverythingWaitsWhileTheBusIsDown) {
    open();
    Mailbox mailbox;
    const auto first = mailbox.takeAll(someId);
    const auto second = mailbox.takeAll(otherId);
    bus_.answer(Delivery::down);
    ASSERT_EQ(send("one", someId), ReliableCode::ok);
    ASSERT_EQ(send("two", otherId), ReliableCode::ok);
    ASSERT_TRUE(bus_.waitForCalls(3));
    EXPECT_EQ(depth(), 2U);
    bus_.answer(std::nullopt);
    ASSERT_TRUE(mailbox.waitFor(2));
    EXPECT_THAT(mailbox.texts(), ElementsAre("one", "two"));
}

TEST_F(ReliableDelivery, RepeatIsDroppedByItsIdentifier) {
    open();
    Mailbox mailbox;
    const auto subscription = mailbox.takeAll();
    const frame::ReliableMessage message{"elsewhere-1", someId, {1, 1}, frame::encode(AsnOcts("text"))};
    EXPECT_EQ(bus_.publishReliable(message), Delivery::done);
    EXPECT_EQ(bus_.publishReliable(message), Delivery::done);
    EXPECT_EQ(mailbox.events().size(), 1U);
}

TEST_F(ReliableDelivery, MessageThatWasRefusedIsNoRepeat) {
    open();
    std::atomic<int> calls{0};
    const auto subscription = subscribe(someId, [&](const ReliableEvent&) { return ++calls > 1; });
    const frame::ReliableMessage message{"elsewhere-1", someId, {1, 1}, frame::encode(AsnOcts("text"))};
    EXPECT_EQ(bus_.publishReliable(message), Delivery::refused);
    EXPECT_EQ(bus_.publishReliable(message), Delivery::done);
    EXPECT_EQ(calls, 2);
}

TEST_F(ReliableDelivery, NobodyIsAskedAfterTheLastSubscriptionEnded) {
    open();
    Mailbox mailbox;
    auto first = mailbox.takeAll();
    auto second = mailbox.takeAll();
    const frame::ReliableMessage message{"elsewhere-1", someId, {1, 1}, frame::encode(AsnOcts("text"))};
    first = {};
    EXPECT_EQ(bus_.publishReliable(message), Delivery::done);
    second = {};
    EXPECT_EQ(bus_.publishReliable({"elsewhere-2", someId, {1, 1}, {}}), Delivery::noReceiver);
    EXPECT_EQ(mailbox.events().size(), 1U);
}

TEST_F(ReliableDelivery, HandlerMaySend) {
    open();
    Mailbox mailbox;
    const auto answers = mailbox.takeAll(otherId);
    const auto asking = subscribe(
        someId, [](const ReliableEvent& event) { return send("re: " + textOf(event), otherId) == ReliableCode::ok; });
    ASSERT_EQ(send("question"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(1));
    EXPECT_THAT(mailbox.texts(), ElementsAre("re: question"));
}

TEST_F(ReliableDelivery, HandlerMayEndItsSubscription) {
    open();
    Mailbox mailbox;
    frame::Subscription own;
    std::promise<void> subscribed;
    own = subscribe(someId, [&, ready = subscribed.get_future().share()](const ReliableEvent& event) {
        ready.wait();
        mailbox.put(event);
        own = {};
        return true;
    });
    subscribed.set_value();
    ASSERT_EQ(send("one"), ReliableCode::ok);
    ASSERT_EQ(send("two"), ReliableCode::ok);
    ASSERT_TRUE(mailbox.waitFor(1));
    close();
    EXPECT_EQ(depth(), 1U);
}

TEST_F(ReliableDelivery, EndingASubscriptionWaitsForItsHandler) {
    open();
    std::latch entered(1);
    std::latch leave(1);
    std::atomic<bool> left{false};
    auto subscription = subscribe(someId, [&](const ReliableEvent&) {
        entered.count_down();
        leave.wait();
        left = true;
        return true;
    });
    ASSERT_EQ(send("one"), ReliableCode::ok);
    entered.wait();
    std::thread ending([&] {
        subscription = {};
        EXPECT_TRUE(left);
    });
    leave.count_down();
    ending.join();
}

TEST_F(ReliableDelivery, ClosingWaitsForAHandlerThatIsRunning) {
    open();
    std::latch entered(1);
    std::latch leave(1);
    std::atomic<bool> left{false};
    const auto subscription = subscribe(someId, [&](const ReliableEvent&) {
        entered.count_down();
        leave.wait();
        left = true;
        return true;
    });
    ASSERT_EQ(send("one"), ReliableCode::ok);
    entered.wait();
    std::thread closing([&] {
        close();
        EXPECT_TRUE(left);
    });
    leave.count_down();
    closing.join();
    EXPECT_EQ(depth(), 0U);
}

TEST_F(ReliableDelivery, SubscribersMayComeAndGoWhileMessagesPass) {
    open();
    Mailbox mailbox;
    std::atomic<bool> stop{false};
    std::thread restless([&] {
        while (!stop) const auto subscription = mailbox.takeAll();
    });
    for (int i = 0; i < 200; ++i) ASSERT_EQ(send(std::to_string(i)), ReliableCode::ok);
    stop = true;
    restless.join();
    const auto subscription = mailbox.takeAll();
    ASSERT_TRUE(mailbox.waitFor(200));
    const auto texts = mailbox.texts();
    ASSERT_EQ(texts.size(), 200U);
    for (std::size_t i = 0; i < 200; ++i) EXPECT_EQ(texts[i], std::to_string(i));
}

}  // namespace

}  // namespace reliable_test
