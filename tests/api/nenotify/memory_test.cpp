// Memory runs out at every single allocation of a notification: nothing leaks, and the next notification goes out.
#include <gtest/gtest.h>

#include "nec/nenotify.h"
#include "nec/records.h"
#include "nenotify/internal.h"
#include "nenotify/startup_task.h"
#include "platform/event.h"
#include "platform/reliable.h"
#include "platform/task.h"
#include "support/doing.h"
#include "support/folder.h"
#include "support/gate.h"
#include "support/heap.h"
#include "support/mailbox.h"

namespace {

constexpr unsigned long created = 0x217006;
constexpr unsigned long transferMessage = 0xB0762A;
constexpr std::size_t mostAllocations = 10'000;

// A process that hears what it announces itself.
class Listening {
public:
    Listening() { frame::setOwnProcess(3001, 7, 0); }
    ~Listening() { frame::setOwnProcess(0, 0, 0); }

    // Whether the event arrives, and the reliable message behind all those that arrived before.
    bool hears(unsigned long neId) {
        NEC::NotifyNECreated(neId);
        NEC::NotifyNETransfer(neId, CProcID{3001, 8});
        return arrives(raised_, neId) && arrives(received_, neId);
    }

private:
    using NeIds = support::Mailbox<unsigned long>;

    template <class Received>
    static void note(const Received& received, NeIds& neIds) {
        asn_frame::AsnDevIDListOfNEMgr record;
        EXPECT_TRUE(received.decode(record));
        neIds.put(static_cast<unsigned long>(*record.devIDList.first->element));
    }

    static bool arrives(NeIds& neIds, unsigned long wanted) {
        while (const auto neId = neIds.take()) {
            if (*neId == wanted) return true;
        }
        return false;
    }

    support::Folder folder_;
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> engine_ = bus_.connect({3001, 7});
    frame::EventManagers managers_{*engine_, {}};
    frame::ReliableChannel channel_{*engine_, {folder_.file("outbox.db")}};
    NeIds raised_;
    NeIds received_;
    frame::Subscription events_ =
        TEEventMgrEx::Instance()->Subscribe(created, [this](const frame::Event& event) { note(event, raised_); });
    frame::Subscription messages_ = NSTE_util::ReliableEventProxy::Instance()->Subscribe(
        transferMessage, [this](const frame::ReliableEvent& message) {
            note(message, received_);
            return true;
        });
};

template <class Notification>
void atEveryAllocation(Notification notification) {
    std::size_t nth = 1;
    while (nth < mostAllocations && support::runsOut(nth, notification)) ++nth;
    EXPECT_GT(nth, 1u);
    EXPECT_LT(nth, mostAllocations);
}

void outOfMemoryAllTheTime() {
    Listening process;
    atEveryAllocation([] { NEC::NotifyNECreated(1); });
    atEveryAllocation([] { NEC::NotifyNECreated(1, CProcID{3001, 8}); });
    atEveryAllocation([] { NEC::NotifyNEDelete(1); });
    atEveryAllocation([] { NEC::NotifyNETransfer(1, CProcID{3001, 8}); });
    atEveryAllocation([] { NEC::NotifyNETransfer(1, CProcID{3001, 7}, CProcID{3001, 8}); });
    const std::vector<unsigned long> many(100, 1);
    atEveryAllocation([&many] { NEC::NotifyNETransfer(many, CProcID{3001, 8}); });
    atEveryAllocation([&many] { NEC::NotifyNETransfer(many, CProcID{3001, 7}, CProcID{3001, 8}); });
    EXPECT_TRUE(process.hears(2));
}

// A start-up task of manager 0 that opens a gate when it is deleted.
class Watched : public NEC::NotifyNEMgrStartTask {
public:
    explicit Watched(support::Gate& gone)
        : NotifyNEMgrStartTask(TesuAppMgr::Instance()->FindTaskMgrByID(0)), gone_(gone) {}
    ~Watched() override { gone_.open(); }

private:
    support::Gate& gone_;
};

// On manager 0's thread: there is no memory for the event.
void runOutInItsTimer(Watched* task) {
    TesuAppMgr::Instance()->FindTaskMgrByID(0)->TMInitInsertTask(task);
    EXPECT_TRUE(support::runsOut(1, [task] { task->TesuTaskTimeOut(1); }));
}

void startUpOutOfMemoryAllTheTime() {
    frame::LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    const frame::EventManagers events(*engine, {});
    const frame::TaskManagers tasks(*engine, 0, {0}, frame::TaskManagers::Reach::ofTheProcess);
    atEveryAllocation(NEC::NotifyNEMgrSvrStartup);
}

}  // namespace

TEST(NeNotifyMemoryTest, StartUpTaskThatRunsOutRetiresAllTheSame) {
    frame::LocalBus bus;
    const auto engine = bus.connect({3001, 7});
    const frame::EventManagers events(*engine, {});
    support::Gate gone;
    const frame::TaskManagers tasks(*engine, 0, {0}, frame::TaskManagers::Reach::ofTheProcess);
    support::doOn(0, [&gone] { runOutInItsTimer(new Watched(gone)); });
    EXPECT_TRUE(gone.pass());
}

TEST(NeNotifyMemoryTest, StartUpThatRunsOutAtAnyAllocationLeaksNothing) {
    startUpOutOfMemoryAllTheTime();
    EXPECT_EQ(support::blocksLeftBy(startUpOutOfMemoryAllTheTime), 0);
}

TEST(NeNotifyMemoryTest, RunningOutAtAnyAllocationLeaksNothingAndTheNextNotificationGoesOut) {
    outOfMemoryAllTheTime();  // what is made once, on first use, is there now
    EXPECT_EQ(support::blocksLeftBy(outOfMemoryAllTheTime), 0);
}
