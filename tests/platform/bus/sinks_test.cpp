// Lists of subscribers: what the engines' contract does not reach.
#include "bus/sinks.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "support/gate.h"

namespace {

using Call = std::function<void()>;
using Calls = frame::Sinks<Call>;

void callAll(Calls& calls) {
    calls.each([](const Call& call, const auto&) { call(); });
}

Calls::Ticket add(Calls& calls, Call call, const void* owner = nullptr) {
    return calls.add(std::make_unique<Call>(std::move(call)), owner);
}

// A subscriber that counts its calls in `count`, which is its owner as well.
void addCounting(Calls& calls, int& count) {
    add(
        calls, [&count] { ++count; }, &count);
}

}  // namespace

TEST(SinksTest, ListIsEmptyWithoutSubscribers) {
    Calls calls;
    EXPECT_TRUE(calls.empty());
    const auto ticket = add(calls, [] {});
    EXPECT_FALSE(calls.empty());
    ticket.end();
    EXPECT_TRUE(calls.empty());
}

TEST(SinksTest, EndingTwiceLeavesTheNextSubscriberAlone) {
    Calls calls;
    int called = 0;
    const auto first = add(calls, [] {});
    first.end();
    const auto second = add(calls, [&] { ++called; });
    ASSERT_EQ(second.place, first.place);
    first.end();
    callAll(calls);
    EXPECT_EQ(called, 1);
}

TEST(SinksTest, EndingTheOwnersLeavesOthers) {
    Calls calls;
    int mine = 0;
    int others = 0;
    addCounting(calls, mine);
    addCounting(calls, mine);
    addCounting(calls, others);
    calls.endOwned(&mine);
    callAll(calls);
    EXPECT_EQ(mine, 0);
    EXPECT_EQ(others, 1);
}

TEST(SinksTest, SubscribersOfTheOwnerThatIsLeftOutAreNotCalled) {
    Calls calls;
    int mine = 0;
    int others = 0;
    addCounting(calls, mine);
    addCounting(calls, others);
    calls.eachOfOthers(&mine, [](const Call& call, const auto&) { call(); });
    EXPECT_EQ(mine, 0);
    EXPECT_EQ(others, 1);
}

TEST(SinksTest, SinkThatEndsItselfLivesUntilItReturns) {
    Calls calls;
    auto held = std::make_shared<int>(7);
    const std::weak_ptr<int> watch = held;
    Calls::Ticket ticket{};
    ticket = add(calls, [&ticket, held = std::move(held)] {
        ticket.end();
        EXPECT_EQ(*held, 7);
    });
    callAll(calls);
    EXPECT_TRUE(watch.expired());
}

// The last thread that leaves a sink which ended itself destroys it.
TEST(SinksTest, SinkThatEndsItselfTwiceIsGoneOnce) {
    Calls calls;
    Calls::Ticket own{};
    own = add(calls, [&] {
        own.end();
        own.end();
    });
    callAll(calls);
    EXPECT_TRUE(calls.empty());
    add(calls, [] {});
    EXPECT_FALSE(calls.empty());
}

TEST(SinksTest, SinkThatEndsItselfLivesUntilItReturnsOnOtherThreads) {
    Calls calls;
    auto held = std::make_shared<int>(7);
    const std::weak_ptr<int> watch = held;
    support::Gate entered;
    support::Gate leave;
    const auto tester = std::this_thread::get_id();
    Calls::Ticket ticket{};
    ticket = add(calls, [&, held = std::move(held)] {
        if (std::this_thread::get_id() == tester) return ticket.end();
        entered.open();
        EXPECT_TRUE(leave.pass());
        EXPECT_EQ(*held, 7);
    });
    std::thread other([&] { callAll(calls); });
    ASSERT_TRUE(entered.pass());
    callAll(calls);
    EXPECT_TRUE(calls.empty());
    EXPECT_FALSE(watch.expired());
    leave.open();
    other.join();
    EXPECT_TRUE(watch.expired());
}

TEST(SinksTest, TwoThreadsMayEndOneSubscription) {
    for (int i = 0; i < 200; ++i) {
        Calls calls;
        const auto ticket = add(calls, [] {});
        std::thread other([&] { ticket.end(); });
        ticket.end();
        other.join();
        EXPECT_TRUE(calls.empty());
    }
}

TEST(SinkTableTest, NumberThatNobodySubscribedToHasNoList) {
    frame::SinkTable<Call> table;
    table.at(1);
    EXPECT_NE(table.find(1), nullptr);
    EXPECT_EQ(table.find(2), nullptr);
}

TEST(SinkTableTest, EveryNumberHasAListOfItsOwn) {
    frame::SinkTable<Call> table;
    constexpr unsigned long count = 2000;  // more than there are buckets
    for (unsigned long id = 0; id < count; ++id) table.at(id * 0x10001);
    for (unsigned long id = 0; id < count; ++id) EXPECT_EQ(table.find(id * 0x10001), &table.at(id * 0x10001));
    EXPECT_NE(table.find(0), table.find(0x10001));
}
