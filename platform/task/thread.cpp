// What a task manager's thread does.
#include <new>
#include <typeinfo>

#include "platform/log.h"
#include "task/abandoned.h"
#include "task/call.h"
#include "task/manager.h"

namespace frame {

namespace {

// Whether it does nothing of itself, so that whoever made it is still about to use it.
bool isHeldByItsMaker(const TesuTask& task) {
    return typeid(task) == typeid(TesuTask);
}

void logRefused(unsigned char manager, std::uint64_t messages) {
    LogProcess::Error(taskFailure,
                      "queue of task manager " + std::to_string(manager) + " was full: " + std::to_string(messages) +
                          " command messages dropped",
                      {__FILE__, __func__, __LINE__});
}

}  // namespace

// Does what the thread is to do without the mutex.
template <class Action>
void TaskManager::unlocked(Lock& lock, const Action& action) {
    lock.unlock();
    try {
        action();
    } catch (const std::bad_alloc&) {
        logOutOfMemory("a task missed a call");
    }
    lock.lock();
}

void TaskManager::run() {
    setManagerOfThread(*this);
    {
        Lock lock(mutex_);
        while (waitForWork(lock)) {
            deleteRetired(lock);
            beginInserted(lock);
            expireTimers(lock);
            handleMessage(lock);
        }
    }
    deleteLeft();
}

// False when there is to be no more.
bool TaskManager::waitForWork(Lock& lock) {
    while (!stopped_ && !hasWork()) {
        if (const auto next = timers_.next())
            work_.wait_until(lock, *next);
        else
            work_.wait(lock);
    }
    return !stopped_;
}

bool TaskManager::hasWork() const {
    if (!queue_.empty() || !inserted_.empty() || !retired_.empty()) return true;
    const auto next = timers_.next();
    return next && *next <= TimerClock::now();
}

void TaskManager::deleteRetired(Lock& lock) {
    while (!retired_.empty()) {
        unlocked(lock, [task = retired_.front()] { delete task; });  // which takes it out of the list
    }
}

void TaskManager::beginInserted(Lock& lock) {
    while (!inserted_.empty() && !stopped_) {
        TesuTask& task = *inserted_.front();
        TaskState& state = *task.state_;
        state.moveTo(begun_);
        state.stage = TaskState::Stage::begun;
        const auto now = TimerClock::now();
        for (auto& [id, timer] : state.timers) startTimer(timer, now);
        unlocked(lock, [&] { callTask(task, "InitTaskCmdReqProcess", [&] { task.InitTaskCmdReqProcess(nullptr); }); });
    }
}

// Each timer expires at most once, so that messages have their turn.
void TaskManager::expireTimers(Lock& lock) {
    const auto now = TimerClock::now();
    while (!stopped_) {
        const auto position = timers_.expire(now);
        if (!position) return;
        const Timers::Timer timer = (*position)->second;
        timer.task->state_->timers[timer.id].position = position;
        unlocked(lock,
                 [&] { callTask(*timer.task, "TesuTaskTimeOut", [&] { timer.task->TesuTaskTimeOut(timer.id); }); });
    }
}

void TaskManager::handleMessage(Lock& lock) {
    reportRefused(lock);
    if (queue_.empty() || !inserted_.empty() || stopped_) return;  // a task begins before it gets messages
    const Payload octets = queue_.pop();
    const CmdMSG header = headerOf(octets.view());
    TesuTask* task = recipientOf(header);
    unlocked(lock, [&] {
        if (task != nullptr)
            deliver(*task, octets);
        else
            logDropped(header, header.kind == cmdRequest ? "no task takes requests" : "no task has its identifier");
    });
}

void TaskManager::reportRefused(Lock& lock) {
    const std::uint64_t refused = queue_.takeRefused();
    if (refused == 0) return;
    unlocked(lock, [&] { logRefused(number_, refused); });
}

TesuTask* TaskManager::recipientOf(const CmdMSG& header) const {
    if (header.kind == cmdRequest) return commandTask_;
    TesuTask* task = identifiers_.owner(header.requestId);
    const bool takes = task != nullptr && task->state_->stage == TaskState::Stage::begun && !task->state_->retired();
    return takes ? task : nullptr;
}

void TaskManager::deliver(TesuTask& task, const Payload& octets) {
    const MessagePtr message = copyOfMessage(octets.view());
    if (!message) throw std::bad_alloc();
    if (message->kind == cmdRequest)
        callTask(task, "TesuTaskCmdRecv", [&] { task.TesuTaskCmdRecv(message.get()); });
    else
        callTask(task, "TesuTaskCmdResp", [&] { task.TesuTaskCmdResp(0, message.get()); });
}

// The last thing that the thread does.
void TaskManager::deleteLeft() {
    Lock lock(mutex_);
    ended_ = true;
    retireLeft(inserted_);
    retireLeft(begun_);
    if (!inserted_.empty() || !begun_.empty()) abandoned().insert(shared_from_this());
    deleteRetired(lock);
}

void TaskManager::retireLeft(TaskList& tasks) {
    for (auto next = tasks.begin(); next != tasks.end();) {
        TesuTask& task = **next++;
        if (isHeldByItsMaker(task)) continue;
        task.state_->state = taskRetired;  // so that nobody else deletes it
        retire(task);
    }
}

}  // namespace frame
