// What a task manager is behind its door: tasks, timers, a queue, and the thread that runs them.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_set>
#include <vector>

#include "bus/door.h"
#include "platform/task.h"
#include "task/identifiers.h"
#include "task/message.h"
#include "task/queue.h"
#include "task/timers.h"
#include "task/waiting.h"

namespace frame {

// What a manager keeps of one of its tasks, guarded by the manager's mutex.
struct TaskState {
    enum class Stage { made, inserted, begun };

    struct TaskTimer {
        TimerClock::duration interval;
        std::optional<Timers::Position> position;  // once the task has begun
    };

    Stage stage = Stage::made;
    int state = 0;
    long latestTimer = 0;
    std::map<long, TaskTimer> timers;
    std::vector<std::uint16_t> identifiers;

    bool retired() const { return state == taskRetired; }
};

// All operations may be called from any thread. Each task holds on to its manager, so that it may outlive the process;
// once stopped the manager does little more than say so.
class TaskManager : public std::enable_shared_from_this<TaskManager> {
public:
    // A manager that is gone: for tasks that are made too late.
    explicit TaskManager(unsigned char number);
    // `bus`: what messages go through; it must outlive stop().
    TaskManager(unsigned char number, BusEngine& bus, std::uint16_t desk);
    ~TaskManager();
    TaskManager(const TaskManager&) = delete;
    TaskManager& operator=(const TaskManager&) = delete;

    unsigned char number() const { return number_; }
    // Takes no more messages, wakes sends that wait, and ends the thread after what it is doing.
    void stop();
    // Waits for the thread; after stop().
    void join();

    // Whether `task` was made for this manager.
    bool isOf(const TesuTask* task) const { return task != nullptr && task->manager_.get() == this; }
    std::uint16_t allocateIdentifier(TesuTask& task);
    // False when stopped: then the task is left alone.
    bool insert(TesuTask& task);
    void setCommandTask(TesuTask* task);
    // A checked message has come for this manager.
    void take(const CmdMSG& header, const Payload& message);

    // What the operations of TesuTask do.
    long startTimer(TesuTask& task, unsigned int ticks);
    void stopTimer(TesuTask& task, long id);
    void setState(TesuTask& task, int state);
    void fillHead(CmdMSG& message) const;
    // Gives the answer; null, and a line in the log, when there is none.
    MessagePtr exchange(TesuTask& task, MessagePtr message, int timeoutSeconds);
    RequestCode answer(const CmdMSG& request, std::string_view payload);
    // The task is being destroyed.
    void forget(TesuTask& task);

private:
    using Lock = std::unique_lock<std::mutex>;

    // Of the thread.
    void run();
    bool waitForWork(Lock& lock);
    bool hasWork() const;
    void deleteRetired(Lock& lock);
    void beginInserted(Lock& lock);
    void expireTimers(Lock& lock);
    void handleMessage(Lock& lock);
    void reportRefused(Lock& lock);
    TesuTask* recipientOf(const CmdMSG& header) const;
    void deliver(TesuTask& task, const Payload& octets);
    void unlocked(Lock& lock, const std::function<void()>& action);
    void deleteLeft();

    // Of senders.
    const char* unfitness(const TesuTask& task, const CmdMSG& message) const;
    std::string tryExchange(const TesuTask& task, MessagePtr message, int timeoutSeconds, MessagePtr& answer);
    RequestCode send(const CProcID& to, const Payload& message);

    // With the mutex held.
    void retire(TesuTask& task);
    void dropTimers(TaskState& state);

    const unsigned char number_;
    const CProcID address_;
    const std::uint16_t desk_ = 0;
    Door<BusEngine> bus_;
    WaitingSends waiting_;
    mutable std::mutex mutex_;
    std::condition_variable work_;
    // The rest is guarded by the mutex.
    bool stopped_ = true;
    bool ended_ = true;  // the thread looks at no task any more
    MessageQueue queue_;
    Timers timers_;
    Identifiers identifiers_;
    std::unordered_set<TesuTask*> tasks_;  // those that are inserted
    std::deque<TesuTask*> inserted_;       // that have not begun
    std::deque<TesuTask*> retired_;        // that are to be deleted
    TesuTask* commandTask_ = nullptr;
    std::thread thread_;
};

}  // namespace frame
