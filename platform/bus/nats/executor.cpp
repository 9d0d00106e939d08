#include "bus/nats/executor.h"

namespace frame::nats {

void Executor::add(std::unique_ptr<Work> work) {
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
    waiting_.push_back(std::move(work));
    if (waiting_.size() == 1) changed_.notify_one();
}

void Executor::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
}

Executor::Batch Executor::next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
    return std::exchange(waiting_, {});
}

void Executor::run() {
    for (Batch batch = next(); !batch.empty(); batch = next())
        for (auto& work : batch) {
            work->run();
            work.reset();
        }
}

}  // namespace frame::nats
