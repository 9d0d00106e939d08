// The contract of bus engines for events.
#include <atomic>
#include <optional>
#include <thread>
#include <vector>

#include "contract.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::BusCode;
using frame::EventMessage;
using frame::Payload;
using frame::Subscription;
using support::Gate;
using Received = support::Mailbox<EventMessage>;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BusEventContract);

namespace {

constexpr unsigned long id = 0x217006;
constexpr unsigned long otherId = 0x217007;

EventMessage message(std::string_view record = "record", unsigned long eventId = id) {
    return {eventId, hereAddress, Payload(record)};
}

frame::EventSink into(Received& received) {
    return [&received](const EventMessage& event) { received.put(event); };
}

// The record of the next event, or nothing when none comes in time.
std::optional<std::string> nextRecord(Received& received) {
    const auto event = received.take();
    if (!event) return std::nullopt;
    return std::string(event->record.view());
}

}  // namespace

TEST_P(BusEventContract, EngineHasTheAddressThatItWasGiven) {
    EXPECT_EQ(here_->address(), hereAddress);
    EXPECT_EQ(there_->address(), thereAddress);
}

TEST_P(BusEventContract, EventReachesEveryProcessButTheSendersOwn) {
    const auto third = connect({4000, 1});
    Received own;
    std::vector<Received> received(2);
    const Subscription a = here_->subscribeEvent(id, into(own));
    const Subscription b = there_->subscribeEvent(id, into(received[0]));
    const Subscription c = third->subscribeEvent(id, into(received[1]));
    ASSERT_EQ(here_->publishEvent(message()), BusCode::ok);
    for (Received& one : received) EXPECT_EQ(nextRecord(one), "record");
    ASSERT_EQ(there_->publishEvent({id, thereAddress, Payload("theirs")}), BusCode::ok);
    EXPECT_EQ(nextRecord(own), "theirs");
}

TEST_P(BusEventContract, EventCarriesItsIdentifierItsSenderAndItsRecord) {
    Received received;
    const Subscription subscription = there_->subscribeEvent(id, into(received));
    ASSERT_EQ(here_->publishEvent(message(std::string("a\0b", 3))), BusCode::ok);
    const auto event = received.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->id, id);
    EXPECT_EQ(event->sender, hereAddress);
    EXPECT_EQ(event->record.view(), std::string_view("a\0b", 3));
}

TEST_P(BusEventContract, EventThatNobodyTakesIsPublishedAllTheSame) {
    EXPECT_EQ(here_->publishEvent(message()), BusCode::ok);
}

TEST_P(BusEventContract, OnlySubscribersOfTheIdentifierAreCalled) {
    Received received;
    const Subscription subscription = there_->subscribeEvent(id, into(received));
    ASSERT_EQ(here_->publishEvent(message("other", otherId)), BusCode::ok);
    ASSERT_EQ(here_->publishEvent(message("own", id)), BusCode::ok);
    EXPECT_EQ(nextRecord(received), "own");
}

TEST_P(BusEventContract, EmptyRecordArrivesEmpty) {
    Received received;
    const Subscription subscription = there_->subscribeEvent(id, into(received));
    ASSERT_EQ(here_->publishEvent({id, hereAddress, Payload()}), BusCode::ok);
    EXPECT_EQ(nextRecord(received), "");
}

TEST_P(BusEventContract, RecordOf1MiBArrivesWhole) {
    std::string record(1U << 20, 'x');
    for (std::size_t i = 0; i < record.size(); i += 997) record[i] = static_cast<char>(i);
    Received received;
    const Subscription subscription = there_->subscribeEvent(id, into(received));
    ASSERT_EQ(here_->publishEvent(message(record)), BusCode::ok);
    EXPECT_TRUE(nextRecord(received) == record);
}

TEST_P(BusEventContract, SubscriptionsOfOneProcessAreAllCalled) {
    std::vector<Received> received(5);
    std::vector<Subscription> subscriptions;
    subscriptions.reserve(received.size());
    for (Received& one : received) subscriptions.push_back(there_->subscribeEvent(id, into(one)));
    ASSERT_EQ(here_->publishEvent(message()), BusCode::ok);
    for (Received& one : received) EXPECT_EQ(nextRecord(one), "record");
}

TEST_P(BusEventContract, EventsOfEachThreadArriveInTheirOrder) {
    constexpr int threadCount = 4;
    constexpr int eventCount = 500;
    Received received;
    const Subscription subscription = there_->subscribeEvent(id, into(received));
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (char thread = 0; thread < threadCount; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < eventCount; ++i)
                EXPECT_EQ(here_->publishEvent(message(thread + std::to_string(i))), BusCode::ok);
        });
    for (std::thread& thread : threads) thread.join();
    std::vector<int> expected(threadCount, 0);
    for (int i = 0; i < threadCount * eventCount; ++i) {
        const auto record = nextRecord(received);
        ASSERT_TRUE(record);
        ASSERT_EQ(std::stoi(record->substr(1)), expected.at(static_cast<std::size_t>(record->front()))++);
    }
}

TEST_P(BusEventContract, EndedSubscriptionIsNotCalledAnyMore) {
    Received ended;
    Received staying;
    Subscription subscription = there_->subscribeEvent(id, into(ended));
    const Subscription other = there_->subscribeEvent(id, into(staying));
    subscription = {};
    ASSERT_EQ(here_->publishEvent(message()), BusCode::ok);
    EXPECT_EQ(nextRecord(staying), "record");
    EXPECT_TRUE(ended.empty());
}

TEST_P(BusEventContract, EndingASubscriptionWaitsForItsSink) {
    Gate entered;
    Gate leave;
    std::atomic<bool> finished{false};
    Subscription subscription = there_->subscribeEvent(id, [&](const EventMessage&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        finished = true;
    });
    std::thread publisher([this] { EXPECT_EQ(here_->publishEvent(message()), BusCode::ok); });
    EXPECT_TRUE(entered.pass());
    std::thread ender([&] {
        subscription = {};
        EXPECT_TRUE(finished);
    });
    leave.open();
    ender.join();
    publisher.join();
}

TEST_P(BusEventContract, SinkMayEndItsOwnSubscription) {
    Received received;
    Received staying;
    Subscription subscription;
    subscription = there_->subscribeEvent(id, [&](const EventMessage& event) {
        subscription = {};
        received.put(event);
    });
    ASSERT_EQ(here_->publishEvent(message("first")), BusCode::ok);
    EXPECT_EQ(nextRecord(received), "first");
    const Subscription other = there_->subscribeEvent(id, into(staying));
    ASSERT_EQ(here_->publishEvent(message("second")), BusCode::ok);
    EXPECT_EQ(nextRecord(staying), "second");
    EXPECT_TRUE(received.empty());
}

TEST_P(BusEventContract, WhatASinkHeldIsReleasedWhenItsSubscriptionEnds) {
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    Subscription subscription = there_->subscribeEvent(id, [held = std::move(held)](const EventMessage&) {});
    EXPECT_FALSE(watch.expired());
    subscription = {};
    EXPECT_TRUE(watch.expired());
}

TEST_P(BusEventContract, SinkMayPublishAndSubscribe) {
    Received received;
    Subscription answers;
    const Subscription subscription = there_->subscribeEvent(id, [&](const EventMessage&) {
        answers = here_->subscribeEvent(otherId, into(received));
        EXPECT_EQ(there_->publishEvent({otherId, thereAddress, Payload("answer")}), BusCode::ok);
    });
    ASSERT_EQ(here_->publishEvent(message()), BusCode::ok);
    EXPECT_EQ(nextRecord(received), "answer");
}

// Each subscription has a life of its own; no sink may run outside it.
TEST_P(BusEventContract, SubscriptionsComeAndGoWhileManyThreadsPublish) {
    std::atomic<bool> stop{false};
    std::atomic<int> calledTooLate{0};
    std::atomic<int> called{0};
    std::vector<std::thread> publishers;
    publishers.reserve(3);
    for (int i = 0; i < 3; ++i)
        publishers.emplace_back([&] {
            while (!stop) EXPECT_EQ(here_->publishEvent(message()), BusCode::ok);
        });
    for (int i = 0; i < 100; ++i) {
        std::atomic<bool> alive{true};
        Gate entered;
        Subscription subscription = there_->subscribeEvent(id, [&](const EventMessage&) {
            if (!alive) ++calledTooLate;
            ++called;
            entered.open();
        });
        EXPECT_TRUE(entered.pass());
        subscription = {};
        alive = false;
    }
    stop = true;
    for (std::thread& publisher : publishers) publisher.join();
    EXPECT_GE(called, 100);
    EXPECT_EQ(calledTooLate, 0);
}

TEST_P(BusEventContract, DestroyedEngineLosesItsSubscriptions) {
    Received lost;
    Received staying;
    Subscription outliving = there_->subscribeEvent(id, into(lost));
    const auto third = connect({4000, 1});
    const Subscription other = third->subscribeEvent(id, into(staying));
    there_.reset();
    ASSERT_EQ(here_->publishEvent(message()), BusCode::ok);
    EXPECT_EQ(nextRecord(staying), "record");
    EXPECT_TRUE(lost.empty());
    outliving = {};
}
