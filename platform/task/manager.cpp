#include "task/manager.h"

#include <algorithm>
#include <utility>

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
    breakOff();
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
    auto& identifiers = task.state_->identifiers;
    identifiers.push_back(0);  // first: once one is in use, nothing may fail
    const std::uint16_t id = identifiers.back() = identifiers_.allocate(task);
    if (id == 0) identifiers.pop_back();
    return id;
}

bool TaskManager::insert(TesuTask& task) {
    const std::lock_guard lock(mutex_);
    TaskState& state = *task.state_;
    if (state.stage != TaskState::Stage::made) return true;
    if (stopped_) return false;
    state.moveTo(state.retired() ? retired_ : inserted_);
    state.stage = TaskState::Stage::inserted;
    work_.notify_one();
    return true;
}

void TaskManager::setCommandTask(TesuTask* task) {
    const std::lock_guard lock(mutex_);
    // It may have retired by now, and be deleted: it is looked for, not looked at.
    const auto has = [task](const TaskList& tasks) {
        return std::find(tasks.begin(), tasks.end(), task) != tasks.end();
    };
    if (task == nullptr || has(inserted_) || has(begun_)) commandTask_ = task;
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
    auto made = Timers::make({&task, id, timerTick * std::max(ticks, 1U)});
    TaskState::TaskTimer& timer = state.timers[id];
    timer.waiting = std::move(made);
    if (state.stage == TaskState::Stage::begun && !state.retired()) {
        startTimer(timer, TimerClock::now());
        work_.notify_one();
    }
    return id;
}

void TaskManager::startTimer(TaskState::TaskTimer& timer, TimerClock::time_point now) {
    timer.position = timers_.start(std::move(timer.waiting), now);
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
    task.state_->moveTo(retired_);
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
    TaskState& state = *task.state_;
    dropTimers(state);
    identifiers_.release(state.identifiers);
    if (state.stage == TaskState::Stage::made) return;
    state.moveTo(state.alone);
    if (commandTask_ == &task) commandTask_ = nullptr;
    if (ended_ && inserted_.empty() && begun_.empty() && retired_.empty()) abandoned().erase(shared_from_this());
}

}  // namespace frame
