// What a task manager is behind its door: tasks, timers, a queue, and the thread that runs them.
#pragma once

#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "bus/door.h"
#include "platform/task.h"
#include "task/identifiers.h"
#include "task/message.h"
#include "task/queue.h"
#include "task/timers.h"
#include "task/waiting.h"

namespace frame {

using TaskList = std::list<TesuTask*>;

// What a manager keeps of one of its tasks, guarded by the manager's mutex. It is made with what lists and timers need,
// so that tasks begin, go on and end when there is no memory left.
struct TaskState {
    enum class Stage { made, inserted, begun };

    struct TaskTimer {
        Timers::Node waiting;                      // until the task begins
        std::optional<Timers::Position> position;  // from then on
    };

    explicit TaskState(TesuTask& task) : alone{&task}, list(&alone), place(alone.begin()) {}
    TaskState(const TaskState&) = delete;
    TaskState& operator=(const TaskState&) = delete;

    void moveTo(TaskList& other) {
        other.splice(other.end(), *list, place);
        list = &other;
    }

    TaskList alone;  // where the task is while it is in no list of its manager
    TaskList* list;  // where it is
    TaskList::iterator place;
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
    // Sends that wait, and all later ones, give nothing.
    void breakOff() { waiting_.stop(); }
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
    template <class Action>
    void unlocked(Lock& lock, const Action& action);
    void deleteLeft();
    void retireLeft(TaskList& tasks);

    // Of senders.
    const char* unfitness(const TesuTask& task, const CmdMSG& message) const;
    std::string tryExchange(const TesuTask& task, MessagePtr message, int timeoutSeconds, MessagePtr& answer);
    RequestCode send(const CProcID& to, const Payload& message);

    // With the mutex held.
    void retire(TesuTask& task);
    void startTimer(TaskState::TaskTimer& timer, TimerClock::time_point now);
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
    TaskList inserted_;  // tasks that have not begun
    TaskList begun_;
    TaskList retired_;  // that are to be deleted
    TesuTask* commandTask_ = nullptr;
    std::thread thread_;
};

}  // namespace frame
