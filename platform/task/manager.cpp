#include "task/manager.h"

#include <algorithm>

#include "task/abandoned.h"

namespace frame {

TaskManager::TaskManager(unsigned char number) : number_(number), address_() {}

TaskManager::TaskManager(unsigned char number, BusEngine& bus, std::uint16_t desk)
    : number_(number), address_(bus.address()), desk_(desk), stopped_(false), ended_(false) {
    bus_.open(bus);
    thread_ = std::thread([this] { run(); });
}

TaskManager::~TaskManager() = default;

void TaskManager::stop() {
    waiting_.stop();
    bus_.close();
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    work_.notify_one();
}

void TaskManager::join() {
    thread_.join();
}

std::uint16_t TaskManager::allocateIdentifier(TesuTask& task) {
    const std::lock_guard lock(mutex_);
    if (stopped_) return 0;
    const std::uint16_t id = identifiers_.allocate(task);
    if (id != 0) task.state_->identifiers.push_back(id);
    return id;
}

bool TaskManager::insert(TesuTask& task) {
    const std::lock_guard lock(mutex_);
    TaskState& state = *task.state_;
    if (state.stage != TaskState::Stage::made) return true;
    if (stopped_) return false;
    tasks_.insert(&task);
    (state.retired() ? retired_ : inserted_).push_back(&task);
    state.stage = TaskState::Stage::inserted;
    work_.notify_one();
    return true;
}

void TaskManager::setCommandTask(TesuTask* task) {
    const std::lock_guard lock(mutex_);
    if (task == nullptr || (tasks_.contains(task) && !task->state_->retired())) commandTask_ = task;
}

void TaskManager::take(const CmdMSG& header, const Payload& message) {
    if (header.kind == cmdAnswer && waiting_.answer(header.requestId, message)) return;
    {
        const std::lock_guard lock(mutex_);
        if (stopped_ || !queue_.push(message)) return;
    }
    work_.notify_one();
}

long TaskManager::startTimer(TesuTask& task, unsigned int ticks) {
    const std::lock_guard lock(mutex_);
    TaskState& state = *task.state_;
    const long id = ++state.latestTimer;
    TaskState::TaskTimer timer{timerTick * std::max(ticks, 1U), std::nullopt};
    if (state.stage == TaskState::Stage::begun && !state.retired()) {
        timer.position = timers_.start({&task, id, timer.interval}, TimerClock::now());
        work_.notify_one();
    }
    state.timers.emplace(id, timer);
    return id;
}

void TaskManager::stopTimer(TesuTask& task, long id) {
    const std::lock_guard lock(mutex_);
    auto& timers = task.state_->timers;
    const auto timer = timers.find(id);
    if (timer == timers.end()) return;
    if (timer->second.position) timers_.stop(*timer->second.position);
    timers.erase(timer);
}

void TaskManager::setState(TesuTask& task, int state) {
    {
        const std::lock_guard lock(mutex_);
        TaskState& own = *task.state_;
        if (own.retired()) return;
        own.state = state;
        if (!own.retired() || own.stage == TaskState::Stage::made) return;
        if (!ended_) return retire(task);
    }
    delete &task;
}

void TaskManager::retire(TesuTask& task) {
    dropTimers(*task.state_);
    std::erase(inserted_, &task);
    retired_.push_back(&task);
    if (commandTask_ == &task) commandTask_ = nullptr;
    work_.notify_one();
}

void TaskManager::dropTimers(TaskState& state) {
    for (const auto& [id, timer] : state.timers)
        if (timer.position) timers_.stop(*timer.position);
    state.timers.clear();
}

void TaskManager::forget(TesuTask& task) {
    const std::lock_guard lock(mutex_);
    dropTimers(*task.state_);
    identifiers_.release(task.state_->identifiers);
    if (tasks_.erase(&task) == 0) return;
    std::erase(inserted_, &task);
    std::erase(retired_, &task);
    if (commandTask_ == &task) commandTask_ = nullptr;
    if (ended_ && tasks_.empty()) abandoned().erase(shared_from_this());
}

}  // namespace frame
