// The embedded engine: the contract, and what is its own.
#include <optional>
#include <stdexcept>
#include <thread>

#include "contract.h"
#include "platform/log.h"
#include "support/gate.h"
#include "support/mailbox.h"

using frame::Delivery;
using frame::LocalBus;
using frame::ReliableMessage;
using frame::Subscription;

namespace {

class LocalUnderTest : public BusUnderTest {
public:
    std::unique_ptr<frame::BusEngine> connect(CProcID address) override { return bus_.connect(address); }

private:
    LocalBus bus_;
};

const BusKind local{"local", [] { return std::make_unique<LocalUnderTest>(); }, false};

constexpr unsigned long id = 0xB0762A;

ReliableMessage message() {
    return {"m1", id, hereAddress, {}};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Local, BusBroadcastContract, testing::Values(local), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Local, BusCommandContract, testing::Values(local), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Local, BusEventContract, testing::Values(local), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Local, BusRequestContract, testing::Values(local), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Local, BusHandingContract, testing::Values(local), nameOfBus);
INSTANTIATE_TEST_SUITE_P(Local, BusReliableContract, testing::Values(local), nameOfBus);

TEST(AddressTest, IsWrittenAsTypeColonHandle) {
    EXPECT_EQ(frame::toText({3001, 7}), "3001:7");
    EXPECT_EQ(frame::toText({65535, 0}), "65535:0");
}

TEST(LocalBusTest, AddressThatIsTakenIsRefusedByName) {
    LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    try {
        bus.connect({3001, 7});
        FAIL() << "was connected";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "address 3001:7 is taken on this bus");
    }
    EXPECT_NE(bus.connect({3001, 8}), nullptr);
}

TEST(LocalBusTest, AddressIsFreeAgainWhenItsEngineIsGone) {
    LocalBus bus;
    for (int i = 0; i < 3; ++i) EXPECT_NE(bus.connect({3001, 7}), nullptr);
}

TEST(LocalBusTest, EnginesAndTokensOutliveTheBus) {
    auto bus = std::make_unique<LocalBus>();
    auto engine = bus->connect({3001, 7});
    auto other = bus->connect({3001, 8});
    bus.reset();
    int called = 0;
    Subscription subscription = engine->subscribeEvent(1, [&](const frame::EventMessage&) { ++called; });
    EXPECT_EQ(other->publishEvent({1, {3001, 8}, {}}), frame::BusCode::ok);
    EXPECT_EQ(called, 1);
    engine.reset();
    subscription = {};
}

TEST(LocalBusTest, SinksAreCalledOnThePublishersThread) {
    LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    const auto other = bus.connect({3001, 8});
    std::thread::id calledOn;
    const auto subscription =
        engine->subscribeEvent(1, [&](const frame::EventMessage&) { calledOn = std::this_thread::get_id(); });
    other->publishEvent({1, {3001, 8}, {}});
    EXPECT_EQ(calledOn, std::this_thread::get_id());
}

TEST(LocalBusTest, MessageIsRefusedByASinkThatIsTakingOneOnTheSameThread) {
    LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    Delivery nested = Delivery::done;
    const auto subscription = engine->subscribeReliable(id, [&](const ReliableMessage&) {
        nested = engine->publishReliable(message());
        return true;
    });
    EXPECT_EQ(engine->publishReliable(message()), Delivery::done);
    EXPECT_EQ(nested, Delivery::refused);
}

// A second publisher is waiting for its turn at a sink, or about to, when that sink ends its own subscription.
TEST(LocalBusTest, MessageThatWaitedForAnEndedSubscriptionHasNoReceiver) {
    LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    support::Gate entered;
    support::Gate publishing;
    int called = 0;
    Subscription subscription;
    subscription = engine->subscribeReliable(id, [&](const ReliableMessage&) {
        ++called;
        entered.open();
        EXPECT_TRUE(publishing.pass());
        subscription = {};
        return true;
    });
    std::thread first([&] { EXPECT_EQ(engine->publishReliable(message()), Delivery::done); });
    EXPECT_TRUE(entered.pass());
    std::thread second([&] {
        publishing.open();
        EXPECT_EQ(engine->publishReliable(message()), Delivery::noReceiver);
    });
    first.join();
    second.join();
    EXPECT_EQ(called, 1);
}

TEST(LocalBusTest, WhatASlowSinkCannotHoldIsDroppedForItAloneAndLogged) {
    LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    support::Gate entered;
    support::Gate leave;
    support::Mailbox<std::string> errors;
    std::optional<frame::LogCapture> log;  // of the sink's thread
    const auto receiving = engine->subscribeBroadcast(3003, [&](const frame::BroadcastMessage& message) {
        if (log) {
            errors.put(log->records().empty() ? "nothing" : log->records().front().text);
            log.reset();
        } else {
            log.emplace();
            entered.open();
            EXPECT_TRUE(leave.pass());
        }
        EXPECT_EQ(message.record.size(), frame::mostBroadcastOctets);
    });
    const frame::LogCapture own;
    const frame::Payload record(std::string(frame::mostBroadcastOctets, 'x'));
    ASSERT_EQ(engine->broadcast({1, 3003, engine->address(), record}), frame::RequestCode::ok);
    ASSERT_TRUE(entered.pass());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(engine->broadcast({1, 3003, engine->address(), record}), frame::RequestCode::ok);
    ASSERT_EQ(own.records().size(), 1U);
    EXPECT_EQ(own.records().front().text,
              "broadcasts to 3003 are dropped from now on: as much as may be waits for their sink");
    leave.open();
    EXPECT_EQ(errors.take(), "2 broadcasts to 3003 were dropped");
}
