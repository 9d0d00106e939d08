// The start-up notification, inside and outside of tasks.
#include <gtest/gtest.h>

#include <optional>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "nenotify/startup_task.h"
#include "platform/event.h"
#include "platform/process.h"
#include "support/gate.h"
#include "support/mailbox.h"

namespace {

using support::Gate;
using support::Mailbox;

constexpr unsigned long started = 0x217005;
constexpr CProcID self{3001, 7};

class StartupTest : public testing::Test {
protected:
    void start(std::vector<unsigned char> managers, frame::EventManagers::Options events = {}) {
        frame::Config config;
        config.process = {self.procType, self.procHandle, 0};
        config.log.level = frame::LogLevel::off;
        config.taskManagers = std::move(managers);
        config.events = events;
        process_.emplace(config);
        if (auto* manager = TEEventMgr::Instance())
            classicSubscription_ =
                manager->Subscribe(started, [this](const frame::Event& event) { classic_.put(event); });
        if (auto* manager = TEEventMgrEx::Instance())
            extendedSubscription_ =
                manager->Subscribe(started, [this](const frame::Event& event) { extended_.put(event); });
    }

    Mailbox<frame::Event> classic_;
    Mailbox<frame::Event> extended_;
    std::optional<frame::Process> process_;
    frame::Subscription classicSubscription_;
    frame::Subscription extendedSubscription_;
};

// Does `action` on its manager's thread, when it is inserted.
class Doing : public TesuGnlTask {
public:
    Doing(TesuTaskMgr* manager, std::function<void()> action)
        : TesuGnlTask(manager, "Doing"), action_(std::move(action)) {}
    void InitTaskCmdReqProcess(CmdMSG*) override {
        action_();
        TesuSetTaskState(taskRetired);
    }

private:
    std::function<void()> action_;
};

void doOn(unsigned char number, std::function<void()> action) {
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(number);
    manager->TMInitInsertTask(new Doing(manager, std::move(action)));
}

}  // namespace

TEST_F(StartupTest, BothEventManagersTellTheExtendedOneOfTheOwnProcess) {
    start({0});
    NEC::NotifyNEMgrSvrStartup();
    const auto classic = classic_.take();
    ASSERT_TRUE(classic);
    EXPECT_EQ(classic->record.size(), 0U);
    const auto extended = extended_.take();
    ASSERT_TRUE(extended);
    asn_frame::AsnFrameProcID process;
    ASSERT_TRUE(extended->decode(process));
    EXPECT_EQ(process.procType, self.procType);
    EXPECT_EQ(process.procHandle, self.procHandle);
}

TEST_F(StartupTest, OutsideATaskItIsToldOnTheFirstTaskManagersThread) {
    start({9, 7});
    Gate held;
    Gate release;
    doOn(7, [&] {
        held.open();
        EXPECT_TRUE(release.pass());
    });
    ASSERT_TRUE(held.pass());
    NEC::NotifyNEMgrSvrStartup();
    // The other manager's timers go on meanwhile.
    Gate ticked;
    class Ticking : public TesuGnlTask {
    public:
        Ticking(TesuTaskMgr* manager, Gate& gate) : TesuGnlTask(manager, "Ticking"), gate_(gate) {}
        void TesuTaskTimeOut(long) override {
            gate_.open();
            TesuSetTaskState(taskRetired);
        }

    private:
        Gate& gate_;
    };
    TesuTaskMgr* other = TesuAppMgr::Instance()->FindTaskMgrByID(9);
    auto* ticking = new Ticking(other, ticked);
    ticking->SetTaskTimeInterval(3);
    other->TMInitInsertTask(ticking);
    ASSERT_TRUE(ticked.pass());
    EXPECT_TRUE(extended_.empty());
    release.open();
    EXPECT_TRUE(extended_.take());
}

TEST_F(StartupTest, InsideATaskItIsToldBeforeTheCallReturns) {
    start({7});
    Gate done;
    doOn(7, [&] {
        NEC::NotifyNEMgrSvrStartup();
        EXPECT_TRUE(extended_.take());  // this thread, the only manager's, has not been given back
        done.open();
    });
    EXPECT_TRUE(done.pass());
}

TEST_F(StartupTest, ItIsToldOnce) {
    start({0});
    NEC::NotifyNEMgrSvrStartup();
    ASSERT_TRUE(extended_.take());
    NEC::NotifyNEMgrSvrStartup();
    ASSERT_TRUE(extended_.take());
    EXPECT_TRUE(extended_.empty());
}

TEST_F(StartupTest, WithoutATaskManagerNothingHappens) {
    start({});
    NEC::NotifyNEMgrSvrStartup();
    TEEventMgrEx::Instance()->RaiseEvent(started, 0, new TEAsnEventParam(AsnOcts("last")));
    const auto event = extended_.take();
    ASSERT_TRUE(event);
    AsnOcts text;
    EXPECT_TRUE(event->decode(text));
    EXPECT_TRUE(classic_.empty());
}

TEST_F(StartupTest, WithOneEventManagerMissingTheOtherIsNotTold) {
    for (const frame::EventManagers::Options events :
         {frame::EventManagers::Options{true, false}, frame::EventManagers::Options{false, true}}) {
        start({7}, events);
        Gate done;
        doOn(7, [&] {
            NEC::NotifyNEMgrSvrStartup();
            done.open();
        });
        ASSERT_TRUE(done.pass());
        classicSubscription_ = {};
        extendedSubscription_ = {};
        process_.reset();
        EXPECT_TRUE(classic_.empty());
        EXPECT_TRUE(extended_.empty());
    }
}

TEST_F(StartupTest, WithoutAProcessNothingHappens) {
    NEC::NotifyNEMgrSvrStartup();
    EXPECT_TRUE(extended_.empty());
}

TEST_F(StartupTest, TaskHasItsNameAndItsOperationsInTheirSlots) {
    start({0});
    NEC::NotifyNEMgrStartTask task(TesuAppMgr::Instance()->FindTaskMgrByID(0));
    EXPECT_EQ(task.name(), "NotifyNEMgrStartTask");
    // Behind two destructors and three command operations stands the timer's expiry.
    TesuGnlTask* base = &task;
    void** table = *reinterpret_cast<void***>(base);
    reinterpret_cast<void (*)(TesuGnlTask*, long)>(table[5])(base, 1);
    EXPECT_TRUE(extended_.take());
}
