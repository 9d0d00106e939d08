// The door that `Instance()` operations call through.
#include "bus/door.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "support/gate.h"

namespace {

struct Service {
    std::atomic<bool> alive{true};
    ~Service() { alive = false; }
};
using ServiceDoor = frame::Door<Service>;

}  // namespace

TEST(DoorTest, ShutDoorGivesNothing) {
    ServiceDoor door;
    EXPECT_FALSE(door.isOpen());
    EXPECT_FALSE(door.pin());
}

TEST(DoorTest, OpenDoorGivesWhatStandsBehindIt) {
    ServiceDoor door;
    Service service;
    ASSERT_TRUE(door.open(service));
    EXPECT_TRUE(door.isOpen());
    EXPECT_EQ(&*door.pin(), &service);
    door.close();
    EXPECT_FALSE(door.isOpen());
    EXPECT_FALSE(door.pin());
}

TEST(DoorTest, OpenDoorIsNotOpenedForAnother) {
    ServiceDoor door;
    Service first;
    Service second;
    ASSERT_TRUE(door.open(first));
    EXPECT_FALSE(door.open(second));
    EXPECT_EQ(&*door.pin(), &first);
}

TEST(DoorTest, ClosingWaitsForThoseInside) {
    ServiceDoor door;
    Service service;
    ASSERT_TRUE(door.open(service));
    support::Gate entered;
    support::Gate leave;
    std::atomic<bool> left{false};
    std::thread caller([&] {
        const auto pin = door.pin();
        entered.open();
        EXPECT_TRUE(leave.pass());
        left = true;
    });
    ASSERT_TRUE(entered.pass());
    EXPECT_FALSE(door.idle());
    std::thread closer([&] {
        door.close();
        EXPECT_TRUE(left);
    });
    leave.open();
    closer.join();
    caller.join();
    EXPECT_TRUE(door.idle());
}

TEST(DoorTest, NobodyIsInsideAServiceThatIsGone) {
    static constinit ServiceDoor door;
    std::atomic<bool> stop{false};
    std::vector<std::thread> callers;
    callers.reserve(3);
    for (int i = 0; i < 3; ++i)
        callers.emplace_back([&] {
            while (!stop) {
                const auto service = door.pin();
                EXPECT_TRUE(!service || service->alive);
            }
        });
    for (int i = 0; i < 100; ++i) {
        Service service;
        ASSERT_TRUE(door.open(service));
        std::this_thread::yield();
        door.close();
    }
    stop = true;
    for (std::thread& caller : callers) caller.join();
}
