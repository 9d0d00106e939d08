// What becomes of tasks: in their managers, without them, and after their process.
#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "fixture.h"
#include "platform/log.h"
#include "support/folder.h"

using frame::TaskManagers;
using support::Gate;
using support::Mailbox;

namespace {

constexpr std::size_t allIdentifiers = 65535;

class TaskLifetimeTest : public TaskTest {
protected:
    // A task that is not inserted, and counts in `deleted_` when it is.
    ScriptedTask* make() {
        return new ScriptedTask(asker_.manager(), {.deleted = [this] { deleted_.put(std::this_thread::get_id()); }});
    }
    bool isDeleted() { return deleted_.take().has_value(); }

    Mailbox<std::thread::id> deleted_;
};

}  // namespace

TEST_F(TaskLifetimeTest, ManagersAreFoundByTheirNumbers) {
    EXPECT_EQ(TesuAppMgr::Instance()->FindTaskMgrByID(askerManager), asker_.manager());
    EXPECT_EQ(asker_.manager()->number(), askerManager);
    for (unsigned number = 0; number < 256; ++number) {
        TesuTaskMgr* found = TesuAppMgr::Instance()->FindTaskMgrByID(static_cast<unsigned char>(number));
        EXPECT_EQ(found != nullptr, number == askerManager) << number;
    }
    asker_.end();
    EXPECT_EQ(TesuAppMgr::Instance()->FindTaskMgrByID(askerManager), nullptr);
}

TEST_F(TaskLifetimeTest, ProcessMayHaveAllManagers) {
    asker_.end();
    std::vector<unsigned char> numbers;
    for (unsigned number = 0; number < 256; ++number) numbers.push_back(static_cast<unsigned char>(number));
    const TaskManagers managers(asker_.engine(), 0, numbers, TaskManagers::Reach::ofTheProcess);
    for (const unsigned char number : numbers)
        EXPECT_EQ(TesuAppMgr::Instance()->FindTaskMgrByID(number)->number(), number);
}

TEST_F(TaskLifetimeTest, SecondProcessIsRefusedAndHarmsNoThing) {
    const auto engine = bus_.connect({4000, 1});
    EXPECT_THROW(TaskManagers(*engine, 0, {1}, TaskManagers::Reach::ofTheProcess), std::logic_error);
    EXPECT_EQ(TesuAppMgr::Instance()->FindTaskMgrByID(1), nullptr);
    answerer_.serve(echo);
    EXPECT_EQ(Sender(asker_).ask("question"), "question");
}

TEST_F(TaskLifetimeTest, SecondManagersOfOneProcessAreRefused) {
    EXPECT_THROW(TaskManagers(answerer_.engine(), 0, {1}, TaskManagers::Reach::ofAStandIn), std::logic_error);
}

TEST_F(TaskLifetimeTest, ManagersMayBeMadeAgainAndAgain) {
    answerer_.serve(echo);
    asker_.end();
    for (int i = 0; i < 20; ++i) {
        const Managed process(bus_, {4000, 1}, 0, askerManager, TaskManagers::Reach::ofTheProcess);
        EXPECT_EQ(Sender(process).ask("question"), "question");
    }
}

TEST_F(TaskLifetimeTest, OperationsRunAsTheCurrentTaskOnTheManagersThread) {
    EXPECT_EQ(TesuGetCurrentTask(), nullptr);
    Mailbox<std::thread::id> threads;
    const auto note = [&](TesuTask& task) {
        EXPECT_EQ(TesuGetCurrentTask(), &task);
        threads.put(std::this_thread::get_id());
    };
    ScriptedTask* task = asker_.add({.begun = note,
                                     .timer =
                                         [&](ScriptedTask& self, long timer) {
                                             self.DelTaskTimeInterval(timer);
                                             note(self);
                                         },
                                     .deleted = [&] { threads.put(std::this_thread::get_id()); }});
    const auto first = threads.take();
    EXPECT_NE(first, std::this_thread::get_id());
    task->SetTaskTimeInterval(1);
    EXPECT_EQ(threads.take(), first);
    task->TesuSetTaskState(taskRetired);
    EXPECT_EQ(threads.take(), first);
}

TEST_F(TaskLifetimeTest, RetiredTaskIsDeletedOnce) {
    ScriptedTask* task = make();
    EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    task->TesuSetTaskState(1);
    task->TesuSetTaskState(2);
    task->TesuSetTaskState(taskRetired);
    EXPECT_TRUE(isDeleted());
    asker_.end();
    EXPECT_TRUE(deleted_.empty());
}

TEST_F(TaskLifetimeTest, TaskThatIsRetiredBeforeItIsInsertedNeverBegins) {
    auto* task = new ScriptedTask(asker_.manager(), {.begun = [](ScriptedTask&) { ADD_FAILURE() << "has begun"; },
                                                     .deleted = [this] { deleted_.put(std::this_thread::get_id()); }});
    task->TesuSetTaskState(taskRetired);
    EXPECT_TRUE(deleted_.empty());
    EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    EXPECT_TRUE(isDeleted());
}

TEST_F(TaskLifetimeTest, TaskInsertedTwiceIsInsertedOnce) {
    Mailbox<int> begun;
    auto* task = new ScriptedTask(asker_.manager(), {.begun = [&](ScriptedTask&) { begun.put(1); }});
    EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    EXPECT_EQ(begun.take(), 1);
    asker_.end();
    EXPECT_TRUE(begun.empty());
}

TEST_F(TaskLifetimeTest, TaskOfAnotherManagerIsRefusedAndDeleted) {
    ScriptedTask* task = make();
    EXPECT_EQ(answerer_.manager()->AllocReqID(task), 0U);
    EXPECT_FALSE(answerer_.manager()->TMInitInsertTask(task));
    EXPECT_TRUE(isDeleted());
    EXPECT_EQ(answerer_.manager()->AllocReqID(nullptr), 0U);
    EXPECT_FALSE(answerer_.manager()->TMInitInsertTask(nullptr));
}

TEST_F(TaskLifetimeTest, ExceptionEndsOnlyTheCallThatItLeaves) {
    const support::Folder folder;
    frame::openLog({folder.file("log"), frame::LogLevel::info, true}, 1, 1);
    std::atomic<int> asked = 0;
    answerer_.serve([&](ScriptedTask& task, const CmdMSG& request) {
        if (++asked == 1) throw std::runtime_error("broken");
        echo(task, request);
    });
    Sender sender(asker_);
    EXPECT_EQ(sender.ask("first", 1), "none");
    EXPECT_EQ(sender.ask("second"), "second");
    answerer_.end();
    frame::closeLog();
    EXPECT_NE(support::contentOf(folder.file("log")).find("task Scripted: TesuTaskCmdRecv threw broken"),
              std::string::npos);
}

TEST_F(TaskLifetimeTest, IdentifiersAreGivenInTurnAndNeverOneThatIsInUse) {
    TesuTask rest(asker_.manager(), "Rest");
    EXPECT_EQ(asker_.manager()->AllocReqID(&rest), 1U);
    {
        TesuTask second(asker_.manager(), "Second");
        EXPECT_EQ(asker_.manager()->AllocReqID(&second), 2U);
    }
    EXPECT_EQ(asker_.manager()->AllocReqID(&rest), 3U);
    unsigned long latest = 0;
    for (std::size_t i = 3; i < allIdentifiers; ++i) latest = asker_.manager()->AllocReqID(&rest);
    EXPECT_EQ(latest, 65535U);
    EXPECT_EQ(asker_.manager()->AllocReqID(&rest), 2U);
}

TEST_F(TaskLifetimeTest, NoIdentifierIsFreeWhenAllAreInUse) {
    auto holder = std::make_unique<TesuTask>(asker_.manager(), "Holder");
    for (std::size_t i = 1; i <= allIdentifiers; ++i) ASSERT_EQ(asker_.manager()->AllocReqID(holder.get()), i);
    TesuTask task(asker_.manager(), "Task");
    EXPECT_EQ(asker_.manager()->AllocReqID(&task), 0U);
    holder.reset();
    EXPECT_EQ(asker_.manager()->AllocReqID(&task), 1U);
}

TEST_F(TaskLifetimeTest, TasksThatAreLeftAreDeletedWithTheirManagers) {
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(asker_.manager()->TMInitInsertTask(make()));
    asker_.end();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(isDeleted());
}

TEST_F(TaskLifetimeTest, SendThatWaitsFailsWhenItsProcessGoes) {
    Gate asked;
    answerer_.serve([&](ScriptedTask&, const CmdMSG&) { asked.open(); });
    std::thread asking([this] {
        Sender sender(asker_);
        const frame::LogCapture capture;
        EXPECT_EQ(sender.ask("question"), "none");
        ASSERT_EQ(capture.records().size(), 1U);
        EXPECT_NE(capture.records()[0].text.find("the process is going down"), std::string::npos);
    });
    EXPECT_TRUE(asked.pass());
    asker_.end();
    asking.join();
}

TEST_F(TaskLifetimeTest, ThreadsMaySendWhileTheirProcessGoes) {
    answerer_.serve([](ScriptedTask& task, const CmdMSG& request) { task.TesuCmdAnswer(request, "gone or not"); });
    Gate begun;
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back([&] {
            while (TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(askerManager)) {
                auto task = std::make_unique<TesuTask>(manager, "Sender");
                const auto identifier = manager->AllocReqID(task.get());
                TesuTask* inserted = task.release();
                if (!manager->TMInitInsertTask(inserted)) return;
                CmdMSG* answer = nullptr;
                inserted->TesuCmdSynSendCBEx(requestOf(*inserted, identifier, "question"), answer, patience);
                inserted->TesuSetTaskState(taskRetired);
                delete answer;
                begun.open();
            }
        });
    EXPECT_TRUE(begun.pass());
    asker_.end();
    for (std::thread& thread : threads) thread.join();
}

TEST_F(TaskLifetimeTest, ManagersWaitForAnOperationThatRuns) {
    Gate entered;
    Gate leave;
    std::atomic<bool> left = false;
    asker_.add({.begun = [&](ScriptedTask&) {
        entered.open();
        EXPECT_TRUE(leave.pass());
        left = true;
    }});
    EXPECT_TRUE(entered.pass());
    std::thread ending([&] {
        asker_.end();
        EXPECT_TRUE(left);
    });
    leave.open();
    ending.join();
}

TEST_F(TaskLifetimeTest, OperationsOfAManagerThatIsGoneDoNothing) {
    TesuTaskMgr* manager = asker_.manager();
    ScriptedTask* early = make();
    asker_.end();
    EXPECT_EQ(manager->AllocReqID(early), 0U);
    manager->TMSetCmdTask(early);
    EXPECT_FALSE(manager->TMInitInsertTask(early));
    EXPECT_TRUE(isDeleted());
    ScriptedTask* late = make();
    EXPECT_EQ(manager->AllocReqID(late), 0U);
    EXPECT_FALSE(manager->TMInitInsertTask(late));
    EXPECT_TRUE(isDeleted());
}

TEST_F(TaskLifetimeTest, OperationsOfATaskWhoseManagerIsGoneDoNothing) {
    asker_.end();
    TesuTask task(asker_.manager(), "Late");
    const long timer = task.SetTaskTimeInterval(1);
    EXPECT_GE(timer, 1);
    task.DelTaskTimeInterval(timer);
    CmdMSG* answer = nullptr;
    EXPECT_EQ(task.TesuCmdSynSendCBEx(requestOf(task, 1, ""), answer, patience), 0);
    EXPECT_EQ(answer, nullptr);
    EXPECT_EQ(task.TesuCmdAnswer(CmdMSG(), ""), static_cast<int>(frame::RequestCode::down));
    task.TesuSetTaskState(taskRetired);
}

TEST_F(TaskLifetimeTest, PlainTaskOutlivesItsManagersUntilItIsRetired) {
    auto* task = new TesuTask(asker_.manager(), "Plain");
    EXPECT_TRUE(asker_.manager()->TMInitInsertTask(task));
    asker_.end();
    EXPECT_EQ(task->name(), "Plain");
    task->TesuSetTaskState(taskRetired);
}

TEST_F(TaskLifetimeTest, PlainTaskOfAStandInOutlivesItToo) {
    auto* task = new TesuTask(answerer_.manager(), "Plain");
    auto* kept = new TesuTask(answerer_.manager(), "Never retired");
    EXPECT_TRUE(answerer_.manager()->TMInitInsertTask(task));
    EXPECT_TRUE(answerer_.manager()->TMInitInsertTask(kept));
    answerer_.end();
    task->TesuSetTaskState(taskRetired);
}
