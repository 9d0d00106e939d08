// Timers of tasks.
#include <vector>

#include "fixture.h"
#include "task/timers.h"

using support::Mailbox;

namespace {

using Expiries = Mailbox<long>;

class TaskTimerTest : public TaskTest {
protected:
    static std::function<void(ScriptedTask&, long)> into(Expiries& expiries) {
        return [&expiries](ScriptedTask& task, long timer) {
            EXPECT_EQ(TesuGetCurrentTask(), &task);
            expiries.put(timer);
        };
    }
    // A task that is not inserted yet.
    ScriptedTask* make(std::function<void(ScriptedTask&, long)> timer) const {
        return new ScriptedTask(asker_.manager(), {.timer = std::move(timer)});
    }
};

}  // namespace

TEST_F(TaskTimerTest, TimerExpiresAgainAndAgain) {
    Expiries expiries;
    ScriptedTask* task = make(into(expiries));
    const long timer = task->SetTaskTimeInterval(1);
    EXPECT_GE(timer, 1);
    asker_.manager()->TMInitInsertTask(task);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(expiries.take(), timer);
}

TEST_F(TaskTimerTest, TimerSetLaterExpires) {
    Expiries expiries;
    ScriptedTask* task = asker_.add({.timer = into(expiries)});
    const long timer = task->SetTaskTimeInterval(0);
    EXPECT_EQ(expiries.take(), timer);
}

TEST_F(TaskTimerTest, TimerDeletedInItsExpiryExpiresOnce) {
    Expiries once;
    Expiries other;
    ScriptedTask* task = make([&](ScriptedTask& self, long timer) {
        self.DelTaskTimeInterval(timer);
        once.put(timer);
    });
    const long timer = task->SetTaskTimeInterval(1);
    asker_.manager()->TMInitInsertTask(task);
    ScriptedTask* ticking = make(into(other));
    ticking->SetTaskTimeInterval(1);
    asker_.manager()->TMInitInsertTask(ticking);
    EXPECT_EQ(once.take(), timer);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(other.take());
    EXPECT_TRUE(once.empty());
}

TEST_F(TaskTimerTest, TimerDeletedBeforeItBeginsNeverExpires) {
    Expiries expiries;
    ScriptedTask* task = make(into(expiries));
    const long deleted = task->SetTaskTimeInterval(1);
    const long kept = task->SetTaskTimeInterval(1);
    EXPECT_NE(deleted, kept);
    task->DelTaskTimeInterval(deleted);
    task->DelTaskTimeInterval(12345);
    asker_.manager()->TMInitInsertTask(task);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(expiries.take(), kept);
}

TEST_F(TaskTimerTest, InitComesBeforeTheFirstExpiry) {
    Mailbox<std::string> steps;
    auto* task = new ScriptedTask(asker_.manager(), {.begun = [&](ScriptedTask&) { steps.put("begun"); },
                                                     .timer =
                                                         [&](ScriptedTask& self, long timer) {
                                                             self.DelTaskTimeInterval(timer);
                                                             steps.put("expired");
                                                         }});
    task->SetTaskTimeInterval(1);
    asker_.manager()->TMInitInsertTask(task);
    EXPECT_EQ(steps.take(), "begun");
    EXPECT_EQ(steps.take(), "expired");
}

TEST_F(TaskTimerTest, RetiredTaskHasNoExpiryAnyMore) {
    Expiries expiries;
    Mailbox<int> deleted;
    auto* task = new ScriptedTask(asker_.manager(), {.timer =
                                                         [&](ScriptedTask& self, long timer) {
                                                             expiries.put(timer);
                                                             self.TesuSetTaskState(taskRetired);
                                                         },
                                                     .deleted = [&] { deleted.put(1); }});
    task->SetTaskTimeInterval(1);
    task->SetTaskTimeInterval(1);
    asker_.manager()->TMInitInsertTask(task);
    EXPECT_EQ(deleted.take(), 1);
    EXPECT_TRUE(expiries.take());
    EXPECT_TRUE(expiries.empty());
}

TEST_F(TaskTimerTest, MessagesHaveTheirTurnBesideTimers) {
    ScriptedTask* task = answerer_.serve(echo);
    for (int i = 0; i < 100; ++i) task->SetTaskTimeInterval(1);
    EXPECT_EQ(Sender(asker_).ask("question"), "question");
}

class TimersTest : public testing::Test {
protected:
    using Seconds = std::chrono::seconds;

    frame::Timers::Position start(long id, int interval) {
        return timers_.start(frame::Timers::make({nullptr, id, Seconds(interval)}), epoch_);
    }
    // Those that have expired `seconds` after the start, by turns.
    std::vector<long> expire(int seconds) {
        std::vector<long> ids;
        while (const auto position = timers_.expire(epoch_ + Seconds(seconds))) ids.push_back((*position)->second.id);
        return ids;
    }
    int next() const {
        const auto next = timers_.next();
        return next ? static_cast<int>(std::chrono::duration_cast<Seconds>(*next - epoch_).count()) : -1;
    }

    const frame::TimerClock::time_point epoch_ = frame::TimerClock::now();
    frame::Timers timers_;
};

TEST_F(TimersTest, ThoseThatExpireSoonerComeFirstAndEqualOnesInTheirOrder) {
    EXPECT_EQ(next(), -1);
    start(1, 3);
    start(2, 1);
    start(3, 1);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(expire(0), std::vector<long>());
    EXPECT_EQ(expire(1), (std::vector<long>{2, 3}));
    EXPECT_EQ(expire(3), (std::vector<long>{2, 3, 1}));
}

TEST_F(TimersTest, ExpiryAfterALateOneIsOnTheGrid) {
    start(1, 10);
    EXPECT_EQ(expire(14), std::vector<long>{1});
    EXPECT_EQ(next(), 20);
}

TEST_F(TimersTest, ExpiriesThatWereMissedAreNotMadeUp) {
    start(1, 10);
    EXPECT_EQ(expire(35), std::vector<long>{1});
    EXPECT_EQ(next(), 45);
}

TEST_F(TimersTest, StoppedTimerDoesNotExpire) {
    const auto position = start(1, 1);
    start(2, 2);
    timers_.stop(position);
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(expire(2), std::vector<long>{2});
}
