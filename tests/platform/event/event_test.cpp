// Both event managers, over a real bus.
#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "nec/records.h"
#include "platform/log.h"
#include "support/mailbox.h"

namespace {

using frame::Event;
using frame::EventManagers;
using support::Mailbox;

constexpr unsigned long someEvent = 0x217006;
constexpr unsigned long otherEvent = 0x217007;

// A parameter that tells when it is deleted.
class Tracked : public TEEventParam {
public:
    explicit Tracked(std::atomic<int>& deleted) : deleted_(deleted) {}
    ~Tracked() override { ++deleted_; }

private:
    std::atomic<int>& deleted_;
};

int raiseNumber(int number, unsigned long id = someEvent) {
    return TEEventMgrEx::Instance()->RaiseEvent(id, 0, new TEAsnEventParam(AsnInt(number)));
}

int numberOf(const Event& event) {
    AsnInt number;
    return event.decode(number) ? static_cast<int>(number) : -1;
}

class EventTest : public testing::Test {
protected:
    frame::Subscription collect(unsigned long id = someEvent) {
        return TEEventMgrEx::Instance()->Subscribe(id, [this](const Event& event) { numbers_.put(numberOf(event)); });
    }
    int next() { return numbers_.take().value_or(-2); }

    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> engine_ = bus_.connect({3001, 7});
    Mailbox<int> numbers_;
    std::optional<EventManagers> managers_{std::in_place, *engine_, EventManagers::Options{}};
};

}  // namespace

TEST_F(EventTest, AnEventArrivesWithItsIdentifierSenderAndRecord) {
    Mailbox<Event> box;
    const auto subscription =
        TEEventMgrEx::Instance()->Subscribe(someEvent, [&box](const Event& event) { box.put(event); });
    EXPECT_EQ(raiseNumber(5), teEventRaised);
    const auto event = box.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->id, someEvent);
    EXPECT_EQ(event->sender, (CProcID{3001, 7}));
    EXPECT_EQ(numberOf(*event), 5);
}

TEST_F(EventTest, TheRecordMayBeDestroyedAsSoonAsTheParameterExists) {
    const auto subscription = collect();
    std::unique_ptr<TEAsnEventParam> param;
    {
        const AsnInt record(6);
        param = std::make_unique<TEAsnEventParam>(record);
    }
    TEEventMgrEx::Instance()->RaiseEvent(someEvent, 0, param.release());
    EXPECT_EQ(next(), 6);
}

TEST_F(EventTest, EventsOfOneThreadAreHandledInTheirOrder) {
    const auto subscription = collect();
    for (int i = 0; i < 10000; ++i) ASSERT_EQ(raiseNumber(i), teEventRaised);
    for (int i = 0; i < 10000; ++i) ASSERT_EQ(next(), i);
}

TEST_F(EventTest, ShortAndLongRecordsArriveWhole) {
    Mailbox<std::string> texts;
    const auto subscription = TEEventMgrEx::Instance()->Subscribe(someEvent, [&texts](const Event& event) {
        AsnOcts text;
        texts.put(event.decode(text) ? text.str() : "undecodable");
    });
    for (const std::size_t size : {0U, 30U, 37U, 38U, 39U, 40U, 41U, 100U, 100000U}) {
        const std::string text(size, 'x');
        TEEventMgrEx::Instance()->RaiseEvent(someEvent, 0, new TEAsnEventParam(AsnOcts(text)));
        EXPECT_EQ(texts.take(), text);
    }
}

TEST_F(EventTest, OnlyTheIdentifierSubscribedToIsHandled) {
    const auto subscription = collect(otherEvent);
    EXPECT_EQ(raiseNumber(1, someEvent), teEventRaised);
    EXPECT_EQ(raiseNumber(2, otherEvent), teEventRaised);
    EXPECT_EQ(next(), 2);
}

TEST_F(EventTest, WhatWasRaisedBeforeSubscribingIsNotHandled) {
    raiseNumber(1);
    const auto first = collect();
    raiseNumber(2);
    EXPECT_EQ(next(), 2);
    Mailbox<int> late;
    std::latch blocked(1);
    const auto blocker = TEEventMgrEx::Instance()->Subscribe(otherEvent, [&](const Event&) { blocked.wait(); });
    raiseNumber(0, otherEvent);  // holds the delivery up, so that the next event waits while somebody subscribes
    raiseNumber(3);
    const auto second =
        TEEventMgrEx::Instance()->Subscribe(someEvent, [&late](const Event& event) { late.put(numberOf(event)); });
    raiseNumber(4);
    blocked.count_down();
    EXPECT_EQ(late.take(), 4);
}

TEST_F(EventTest, EverySubscriberIsCalledAndEndsOnItsOwn) {
    Mailbox<int> others;
    const auto kept = collect();
    auto ended =
        TEEventMgrEx::Instance()->Subscribe(someEvent, [&others](const Event& event) { others.put(numberOf(event)); });
    raiseNumber(1);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(others.take(), 1);
    ended = frame::Subscription();
    raiseNumber(2);
    EXPECT_EQ(next(), 2);
    EXPECT_TRUE(others.empty());
}

TEST_F(EventTest, OtherProcessesOnTheBusHearTheEventAndAreHeard) {
    const auto other = bus_.connect({4000, 1});
    Mailbox<frame::EventMessage> box;
    const auto there = other->subscribeEvent(someEvent, [&box](const frame::EventMessage& event) { box.put(event); });
    const auto here = collect();
    raiseNumber(5);
    EXPECT_EQ(next(), 5);
    ASSERT_TRUE(box.take());
    other->publishEvent({someEvent, other->address(), frame::encode(AsnInt(6))});
    EXPECT_EQ(next(), 6);
}

TEST_F(EventTest, AHandlerMayRaiseSubscribeAndEndItsOwnSubscription) {
    const auto numbers = collect(otherEvent);
    frame::Subscription once;
    frame::Subscription inner;
    once = TEEventMgrEx::Instance()->Subscribe(someEvent, [&](const Event& event) {
        inner = collect(someEvent);
        raiseNumber(numberOf(event) + 1, otherEvent);
        once = frame::Subscription();
    });
    raiseNumber(1);
    EXPECT_EQ(next(), 2);
    raiseNumber(3);
    EXPECT_EQ(next(), 3);
}

TEST_F(EventTest, AnExceptionOutOfAHandlerEndsOnlyThatCall) {
    const auto thrower = TEEventMgrEx::Instance()->Subscribe(
        someEvent, [](const Event&) { throw std::runtime_error("handler's own trouble"); });
    const auto pointerThrower = TEEventMgrEx::Instance()->Subscribe(
        someEvent, [](const Event&) { throw new CSM_Exception(-1, 0, "", "", "thrown by pointer"); });
    const auto subscription = collect();
    raiseNumber(1);
    raiseNumber(2);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(next(), 2);
}

TEST_F(EventTest, ARecordThatCannotBeDecodedIsLoggedWithItsSender) {
    const Event event{someEvent, {4000, 1}, frame::Payload("\x02\x05")};
    AsnInt number(9);
    const frame::LogCapture capture;
    EXPECT_FALSE(event.decode(number));
    ASSERT_EQ(capture.records().size(), 1U);
    const std::string& text = capture.records()[0].text;
    EXPECT_NE(text.find("4000:1"), std::string::npos) << text;
    EXPECT_EQ(capture.records()[0].kind, frame::LogRecord::Kind::error);
}

TEST_F(EventTest, ClassicEventsStayInTheProcessAndHaveNoRecord) {
    const auto other = bus_.connect({4000, 1});
    Mailbox<frame::EventMessage> elsewhere;
    const auto there =
        other->subscribeEvent(someEvent, [&elsewhere](const frame::EventMessage& event) { elsewhere.put(event); });
    Mailbox<Event> box;
    const auto classic = TEEventMgr::Instance()->Subscribe(someEvent, [&box](const Event& event) { box.put(event); });
    const auto extended = collect();
    EXPECT_EQ(TEEventMgr::Instance()->RaiseEvent(someEvent, 0, new TEEventParam), teEventRaised);
    const auto event = box.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->id, someEvent);
    EXPECT_EQ(event->record.size(), 0U);
    raiseNumber(1);
    EXPECT_EQ(next(), 1);
    ASSERT_TRUE(elsewhere.take());  // the extended one
    EXPECT_TRUE(elsewhere.empty());
    EXPECT_TRUE(box.empty());
}

TEST_F(EventTest, ParametersAreDeletedWhateverBecomesOfTheEvent) {
    std::atomic<int> deleted{0};
    TEEventMgr* classic = TEEventMgr::Instance();
    classic->RaiseEvent(someEvent, 0, new Tracked(deleted));
    EXPECT_EQ(deleted, 1);
    managers_.reset();
    EXPECT_EQ(classic->RaiseEvent(someEvent, 0, new Tracked(deleted)), teEventClosed);
    EXPECT_EQ(deleted, 2);
    EXPECT_EQ(classic->RaiseEvent(someEvent, 0, nullptr), teEventClosed);
}

TEST_F(EventTest, AFullQueueDropsEventsAndSaysSo) {
    std::latch release(1);
    std::atomic<int> handled{0};
    const auto subscription = TEEventMgrEx::Instance()->Subscribe(someEvent, [&](const Event&) {
        release.wait();
        ++handled;
    });
    int raised = 0;
    while (raiseNumber(raised) == teEventRaised) ASSERT_LT(++raised, 200000);
    EXPECT_GE(raised, 65536);
    EXPECT_EQ(raiseNumber(0), teEventOverflow);
    const auto done = collect(otherEvent);
    release.count_down();
    while (raiseNumber(1, otherEvent) != teEventRaised) std::this_thread::yield();
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(handled, raised);
}

TEST_F(EventTest, DoorsAreNullWithoutManagersAndPointersStayUsable) {
    TEEventMgrEx* extended = TEEventMgrEx::Instance();
    const auto subscription = collect();
    managers_.reset();
    EXPECT_EQ(TEEventMgr::Instance(), nullptr);
    EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
    EXPECT_EQ(extended->RaiseEvent(someEvent, 0, new TEAsnEventParam(AsnInt())), teEventClosed);
    EXPECT_FALSE(extended->Subscribe(someEvent, [](const Event&) {}));
    managers_.emplace(*engine_, EventManagers::Options{true, false});
    EXPECT_NE(TEEventMgr::Instance(), nullptr);
    EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
    managers_.reset();
    managers_.emplace(*engine_, EventManagers::Options{false, true});
    EXPECT_EQ(TEEventMgr::Instance(), nullptr);
    const auto again = collect();
    raiseNumber(4);
    EXPECT_EQ(next(), 4);
}

TEST_F(EventTest, ASecondSetOfManagersIsRefused) {
    const auto other = bus_.connect({3001, 8});
    EXPECT_THROW(EventManagers(*other, EventManagers::Options{}), std::logic_error);
    const auto subscription = collect();
    raiseNumber(1);
    EXPECT_EQ(next(), 1);
}

TEST_F(EventTest, ThreadsMayRaiseAndSubscribeWhileTheManagersGoAndCome) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&stop] {
            while (!stop.load()) {
                TEEventMgrEx* manager = TEEventMgrEx::Instance();
                if (manager == nullptr) continue;
                const auto subscription = manager->Subscribe(someEvent, [](const Event&) {});
                manager->RaiseEvent(someEvent, 0, new TEAsnEventParam(AsnInt(1)));
            }
        });
    }
    for (int i = 0; i < 50; ++i) {
        managers_.reset();
        managers_.emplace(*engine_, EventManagers::Options{});
    }
    stop.store(true);
    for (std::thread& thread : threads) thread.join();
}
