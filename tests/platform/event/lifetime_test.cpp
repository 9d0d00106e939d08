// Managers come and go, threads raise all the while, and programs exit.
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include "fixture.h"

using frame::Event;
using frame::EventManagers;
using support::Gate;

using LifetimeTest = EventTest;

TEST_F(LifetimeTest, DoorsAreShutBeforeTheManagersAndAfterThem) {
    EXPECT_NE(TEEventMgr::Instance(), nullptr);
    EXPECT_NE(TEEventMgrEx::Instance(), nullptr);
    managers_.reset();
    EXPECT_EQ(TEEventMgr::Instance(), nullptr);
    EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
}

TEST_F(LifetimeTest, ManagerThatIsLeftOutHasNoDoor) {
    managers_.reset();
    {
        const EventManagers classicOnly(*engine_, {true, false});
        EXPECT_NE(TEEventMgr::Instance(), nullptr);
        EXPECT_EQ(TEEventMgrEx::Instance(), nullptr);
    }
    const EventManagers extendedOnly(*engine_, {false, true});
    EXPECT_EQ(TEEventMgr::Instance(), nullptr);
    EXPECT_NE(TEEventMgrEx::Instance(), nullptr);
}

TEST_F(LifetimeTest, OperationsOnAManagerThatIsGoneDoNothingAndSaySo) {
    TEEventMgr& classic = classicManager();
    TEEventMgrEx& extended = extendedManager();
    managers_.reset();
    EXPECT_EQ(classic.RaiseEvent(neCreated, 0, new TEEventParam), teEventClosed);
    EXPECT_EQ(extended.RaiseEvent(neCreated, 0, new TEAsnEventParam(AsnOcts("x"))), teEventClosed);
    EXPECT_FALSE(classic.Subscribe(neCreated, [](const Event&) {}));
    EXPECT_FALSE(extended.Subscribe(neCreated, [](const Event&) {}));
}

TEST_F(LifetimeTest, ManagersAreMadeAgainAfterTheyWereDestroyed) {
    for (int i = 0; i < 20; ++i) {
        managers_.reset();
        managers_ = std::make_unique<EventManagers>(*engine_, EventManagers::Options{});
        Texts texts;
        const auto subscription = extendedManager().Subscribe(neCreated, into(texts));
        raise(neCreated, "again");
        EXPECT_EQ(next(texts), "again");
    }
}

TEST_F(LifetimeTest, SecondManagersAreRefusedAndTheFirstGoOn) {
    EXPECT_THROW(EventManagers(*otherEngine_, {}), std::logic_error);
    EXPECT_THROW(EventManagers(*otherEngine_, {false, true}), std::logic_error);
    Texts texts;
    const auto subscription = extendedManager().Subscribe(neCreated, into(texts));
    EXPECT_EQ(raise(neCreated, "still here"), teEventRaised);
    EXPECT_EQ(next(texts), "still here");
}

TEST_F(LifetimeTest, DestroyingWaitsForTheHandlerThatRuns) {
    Gate entered;
    Gate leave;
    std::atomic<bool> finished{false};
    const auto subscription = extendedManager().Subscribe(neCreated, [&](const Event&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        finished = true;
    });
    raise(neCreated, "");
    ASSERT_TRUE(entered.pass());
    std::thread destroyer([&] {
        managers_.reset();
        EXPECT_TRUE(finished);
    });
    leave.open();
    destroyer.join();
}

TEST_F(LifetimeTest, ThreadsRaiseWhileManagersComeAndGo) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> raisers;
    raisers.reserve(3);
    for (int i = 0; i < 3; ++i)
        raisers.emplace_back([&] {
            while (!stop)
                if (TEEventMgrEx* manager = TEEventMgrEx::Instance())
                    manager->RaiseEvent(neCreated, 0, new TEAsnEventParam(AsnOcts("x")));
        });
    for (int i = 0; i < 30; ++i) {
        managers_.reset();
        managers_ = std::make_unique<EventManagers>(*engine_, EventManagers::Options{});
        Gate called;
        const auto subscription = extendedManager().Subscribe(neCreated, [&](const Event&) { called.open(); });
        EXPECT_TRUE(called.pass());
    }
    stop = true;
    for (std::thread& raiser : raisers) raiser.join();
}

namespace {

// Never destroyed: the program exits around it.
struct Endless {
    frame::LocalBus bus;
    std::unique_ptr<frame::BusEngine> engine = bus.connect(self);
    EventManagers managers{*engine, {}};
    std::atomic<int> handled{0};
    frame::Subscription subscription = extendedManager().Subscribe(neCreated, [this](const Event&) { ++handled; });
};

[[noreturn]] void exitWhileThreadsRaise() {
    static Endless& endless = *new Endless;
    for (int i = 0; i < 3; ++i)
        std::thread([] {
            for (;;) raise(neCreated, "x");
        }).detach();
    while (endless.handled < 1000) std::this_thread::yield();
    std::exit(0);
}

}  // namespace

TEST(ExitTest, ProgramExitsInPeaceWhileThreadsRaiseEvents) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitWhileThreadsRaise(), testing::ExitedWithCode(0), "");
}
