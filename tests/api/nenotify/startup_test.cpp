// The start-up notification, inside and outside of tasks.
#include <gtest/gtest.h>

#include <optional>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "nenotify/startup_task.h"
#include "platform/event.h"
#include "platform/process.h"
#include "support/doing.h"
#include "support/gate.h"
#include "support/mailbox.h"
#include "support/slots.h"

namespace {

using support::doOn;
using support::Gate;
using support::Mailbox;
using support::slotOf;

constexpr unsigned long started = 0x217005;
constexpr unsigned long marker = 1;
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
        subscriptions_.clear();
        for (const unsigned long id : {started, marker}) {
            hear(TEEventMgr::Instance(), id, classic_);
            hear(TEEventMgrEx::Instance(), id, extended_);
        }
    }

    // Once each event manager has handled what was raised before: a marker of each comes next.
    void expectNothingMoreIsTold() {
        if (auto* manager = TEEventMgr::Instance()) {
            manager->RaiseEvent(marker, 0, new TEEventParam);
            expectMarkerIn(classic_);
        }
        if (auto* manager = TEEventMgrEx::Instance()) {
            manager->RaiseEvent(marker, 0, new TEAsnEventParam(AsnOcts("marker")));
            expectMarkerIn(extended_);
        }
    }

    using Events = Mailbox<frame::Event>;
    Events classic_;
    Events extended_;
    std::optional<frame::Process> process_;

private:
    template <class Manager>
    void hear(Manager* manager, unsigned long id, Events& events) {
        if (manager == nullptr) return;
        subscriptions_.push_back(manager->Subscribe(id, [&events](const frame::Event& event) { events.put(event); }));
    }
    static void expectMarkerIn(Events& events) {
        const auto event = events.take();
        ASSERT_TRUE(event);
        EXPECT_EQ(event->id, marker);
    }

    std::vector<frame::Subscription> subscriptions_;
};

// Opens a gate when its timer expires.
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

// Timers of manager `number` that are started before, for up to three ticks, have expired afterwards.
void expectTicksOf(unsigned char number) {
    Gate ticked;
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(number);
    auto* ticking = new Ticking(manager, ticked);
    ticking->SetTaskTimeInterval(3);
    manager->TMInitInsertTask(ticking);
    EXPECT_TRUE(ticked.pass());
}

// Says which operation was called.
class Telling : public NEC::NotifyNEMgrStartTask {
public:
    explicit Telling(std::string& called)
        : NotifyNEMgrStartTask(TesuAppMgr::Instance()->FindTaskMgrByID(0)), called_(called) {}
    ~Telling() override { called_ = "destructor"; }
    void InitTaskCmdReqProcess(CmdMSG*) override { called_ = "init"; }
    void TesuTaskCmdRecv(CmdMSG*) override { called_ = "request"; }
    void TesuTaskCmdResp(TesuErrorCode, CmdMSG*) override { called_ = "answer"; }
    void TesuTaskTimeOut(long) override { called_ = "timer"; }
    void HandleNoAsn1Msg(TECmdMsg*) override { called_ = "message"; }

private:
    std::string& called_;
};

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
    expectTicksOf(9);  // the other manager's timers go on meanwhile
    EXPECT_TRUE(extended_.empty());
    release.open();
    EXPECT_TRUE(extended_.take());
}

TEST_F(StartupTest, WithOnlyTaskManager7ItIsToldThere) {
    start({7});
    NEC::NotifyNEMgrSvrStartup();
    EXPECT_TRUE(extended_.take());
}

TEST_F(StartupTest, InsideATaskItIsToldBeforeTheCallReturnsAndWithoutATask) {
    start({7});
    Gate done;
    doOn(7, [&] {
        NEC::NotifyNEMgrSvrStartup();
        EXPECT_TRUE(classic_.take());
        EXPECT_TRUE(extended_.take());  // this thread, the only manager's, has not been given back
        done.open();
    });
    EXPECT_TRUE(done.pass());
    expectTicksOf(7);  // a task for it would tell it again
    expectNothingMoreIsTold();
}

TEST_F(StartupTest, ItIsToldOnce) {
    start({0});
    NEC::NotifyNEMgrSvrStartup();
    EXPECT_TRUE(classic_.take());
    EXPECT_TRUE(extended_.take());
    expectTicksOf(0);
    expectNothingMoreIsTold();
}

TEST_F(StartupTest, WithoutATaskManagerNothingHappens) {
    start({});
    NEC::NotifyNEMgrSvrStartup();
    expectNothingMoreIsTold();
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
        expectNothingMoreIsTold();
        process_.reset();
    }
}

TEST_F(StartupTest, WithoutAProcessNothingHappens) {
    NEC::NotifyNEMgrSvrStartup();
    EXPECT_TRUE(extended_.empty());
}

TEST_F(StartupTest, TaskHasItsName) {
    start({0});
    const NEC::NotifyNEMgrStartTask task(TesuAppMgr::Instance()->FindTaskMgrByID(0));
    EXPECT_EQ(task.name(), "NotifyNEMgrStartTask");
}

TEST_F(StartupTest, TaskHasItsOperationsInTheirSlots) {
    start({0});
    std::string called;
    alignas(Telling) unsigned char memory[sizeof(Telling)];
    TesuGnlTask* task = new (memory) Telling(called);
    slotOf<void(TesuGnlTask*, CmdMSG*)>(task, 2)(task, nullptr);
    EXPECT_EQ(called, "init");
    slotOf<void(TesuGnlTask*, CmdMSG*)>(task, 3)(task, nullptr);
    EXPECT_EQ(called, "request");
    slotOf<void(TesuGnlTask*, TesuErrorCode, CmdMSG*)>(task, 4)(task, 0, nullptr);
    EXPECT_EQ(called, "answer");
    slotOf<void(TesuGnlTask*, long)>(task, 5)(task, 1);
    EXPECT_EQ(called, "timer");
    slotOf<void(TesuGnlTask*, TECmdMsg*)>(task, 6)(task, nullptr);
    EXPECT_EQ(called, "message");
    slotOf<void(TesuGnlTask*)>(task, 0)(task);
    EXPECT_EQ(called, "destructor");
    called.clear();
    TesuGnlTask* own = new Telling(called);
    slotOf<void(TesuGnlTask*)>(own, 1)(own);  // gives its memory back, or the sanitizers say so
    EXPECT_EQ(called, "destructor");
}

TEST_F(StartupTest, TaskOverridesNothingButItsTimersExpiry) {
    start({0});
    TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(0);
    const NEC::NotifyNEMgrStartTask task(manager);
    const TesuGnlTask plain(manager, "plain");
    for (const std::size_t slot : {2U, 3U, 4U, 6U})
        EXPECT_EQ(slotOf<void()>(&task, slot), slotOf<void()>(&plain, slot));
    EXPECT_NE(slotOf<void()>(&task, 5), slotOf<void()>(&plain, 5));
}
