// What tasks and messages take from the heap.
#include "support/heap.h"

#include <optional>
#include <vector>

#include "fixture.h"

using support::Gate;
using support::Mailbox;

class TaskHeapTest : public TaskTest {
protected:
    // Makes the nth allocation of the asker's thread fail that it makes after this, inside of no operation.
    void failOnThread(std::size_t nth) {
        asker_.add({.begun = [this, nth](ScriptedTask&) { failing_.emplace(nth); }});
    }

    std::optional<support::FailingAllocation> failing_;  // of the asker's thread
};

TEST_F(TaskHeapTest, MessageIsNullWhenThereIsNoMemory) {
    const support::FailingAllocation failing(1);
    EXPECT_EQ(new (1000) TesuCmdMSG, nullptr);
    EXPECT_TRUE(support::FailingAllocation::failed());
}

TEST_F(TaskHeapTest, MemoryOfAMessageIsWhatWasReserved) {
    const auto before = support::heapUse();
    const std::unique_ptr<CmdMSG> message(new (100'000) TesuCmdMSG);
    EXPECT_GE(support::heapUse().octets - before.octets, 100'000U);
    EXPECT_EQ(support::heapUse().blocks - before.blocks, 1U);
}

TEST_F(TaskHeapTest, ManagersLeaveNothingBehind) {
    const auto life = [this] {
        const Managed process(bus_, {4000, 1}, 0, answererManager);
        process.serve(echo);
        Sender sender(process);
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "question");
        message->dstType = 4000;
        EXPECT_EQ(sender.send(message), "question");
    };
    life();  // what is kept for ever is made now
    EXPECT_EQ(support::blocksLeftBy(life), 0);
}

TEST_F(TaskHeapTest, SendThatRunsOutOfMemoryLeavesItsTaskUsable) {
    answerer_.serve(echo);
    Sender sender(asker_);
    std::size_t failures = 0;
    for (std::size_t nth = 1; nth < 100; ++nth) {
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "question");
        CmdMSG* answer = nullptr;
        if (!support::runsOut(nth, [&] { sender.task().TesuCmdSynSendCBEx(message, answer, 1); })) {
            EXPECT_NE(answer, nullptr);
            delete answer;
            break;
        }
        ++failures;
        delete answer;
    }
    EXPECT_GE(failures, 3U);
    EXPECT_EQ(sender.ask("question"), "question");
}

TEST_F(TaskHeapTest, IdentifierThatRunsOutOfMemoryIsNotInUse) {
    for (std::size_t nth = 1; nth < 10; ++nth) {
        auto task = std::make_unique<TesuTask>(asker_.manager(), "Short of memory");
        unsigned long identifier = 0;
        const bool failed = support::runsOut(nth, [&] { identifier = asker_.manager()->AllocReqID(task.get()); });
        EXPECT_EQ(identifier == 0, failed);
        task.reset();
        TesuTask next(asker_.manager(), "Next");
        for (int i = 0; i < 65535; ++i) ASSERT_NE(asker_.manager()->AllocReqID(&next), 0U) << nth << ' ' << i;
        if (!failed) return;
    }
    FAIL() << "never enough memory";
}

TEST_F(TaskHeapTest, TaskIsInsertedWithoutMemory) {
    Gate begun;
    auto* task = new ScriptedTask(asker_.manager(), {.begun = [&](ScriptedTask&) { begun.open(); }});
    {
        const support::FailingAllocation failing(1);
        EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    }
    EXPECT_TRUE(begun.pass());
}

TEST_F(TaskHeapTest, TasksAreRetiredWithoutMemory) {
    Gate begun;
    Gate leave;
    Mailbox<int> deleted;
    asker_.add({.begun = [&](ScriptedTask&) {
        begun.open();
        EXPECT_TRUE(leave.pass());
    }});
    ASSERT_TRUE(begun.pass());
    std::vector<ScriptedTask*> tasks;
    for (int i = 0; i < 200; ++i) tasks.push_back(asker_.add({.deleted = [&, i] { deleted.put(i); }}));
    {
        const support::FailingAllocation failing(1);
        for (ScriptedTask* task : tasks) task->TesuSetTaskState(taskRetired);
    }
    leave.open();
    for (int i = 0; i < 200; ++i) EXPECT_EQ(deleted.take(), i);
}

TEST_F(TaskHeapTest, TaskWithATimerBeginsWithoutMemory) {
    Mailbox<bool> failures;
    Gate expired;
    auto* task = new ScriptedTask(asker_.manager(), {.begun =
                                                         [&](ScriptedTask&) {
                                                             failures.put(support::FailingAllocation::failed());
                                                             failing_.reset();
                                                         },
                                                     .timer =
                                                         [&](ScriptedTask& self, long timer) {
                                                             self.DelTaskTimeInterval(timer);
                                                             expired.open();
                                                         }});
    task->SetTaskTimeInterval(1);
    failOnThread(1);
    EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    EXPECT_EQ(failures.take(), false);
    EXPECT_TRUE(expired.pass());
}

TEST_F(TaskHeapTest, TimerThatRunsOutOfMemoryIsGoneWithItsTask) {
    for (std::size_t nth = 1; nth < 10; ++nth) {
        Gate begun;
        Gate deleted;
        ScriptedTask* task =
            asker_.add({.begun = [&](ScriptedTask&) { begun.open(); }, .deleted = [&] { deleted.open(); }});
        ASSERT_TRUE(begun.pass());
        const bool failed = support::runsOut(nth, [&] { task->SetTaskTimeInterval(1); });
        task->TesuSetTaskState(taskRetired);
        ASSERT_TRUE(deleted.pass());
        Gate expired;  // after the timer that is gone would have
        task = asker_.add({.timer = [&](ScriptedTask& self, long timer) {
            self.DelTaskTimeInterval(timer);
            expired.open();
        }});
        task->SetTaskTimeInterval(2);
        EXPECT_TRUE(expired.pass());
        task->TesuSetTaskState(taskRetired);
        if (!failed) return;
    }
    FAIL() << "never enough memory";
}

TEST_F(TaskHeapTest, MessageIsMissedWhenThereIsNoMemoryAndTheThreadGoesOn) {
    asker_.serve([this](ScriptedTask& task, const CmdMSG& request) {
        failing_.reset();
        echo(task, request);
    });
    Sender sender(answerer_);
    const auto ask = [&](int timeoutSeconds) {
        CmdMSG* message = requestOf(sender.task(), sender.identifier(), "question");
        message->dstType = askerAddress.procType;
        message->dstManager = askerManager;
        return sender.send(message, timeoutSeconds);
    };
    failOnThread(1);
    EXPECT_EQ(ask(1), "none");
    EXPECT_EQ(ask(patience), "question");
}

TEST_F(TaskHeapTest, NoTaskIsTheCurrentOneAfterAnExceptionThatCannotBeLogged) {
    Mailbox<TesuTask*> current;
    asker_.add({.begun =
                    [this](ScriptedTask& task) {
                        task.TesuSetTaskState(taskRetired);
                        failing_.emplace(1);
                        throw 1;  // takes nothing from the heap that is watched
                    },
                .deleted =
                    [&] {
                        EXPECT_TRUE(support::FailingAllocation::failed());
                        failing_.reset();
                        current.put(TesuGetCurrentTask());
                    }});
    EXPECT_EQ(current.take(), nullptr);
}
