// The thread that sinks run on: the client's own threads must go on.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "bus/nats/complaints.h"
#include "bus/thrown.h"

namespace frame::nats {

// `Work` is called without arguments, once, and may be move-only. What it throws is logged, and the next one is done.
template <class Work>
class Executor {
public:
    Executor() : thread_([this] { run(); }) {}
    // What was pushed before is done first.
    ~Executor() { stop(); }
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    // Does nothing once stopped. The caller bounds what waits here.
    void push(Work work) {
        std::unique_lock lock(mutex_);
        if (stopped_) return;
        waiting_.push_back(std::move(work));
        const bool first = waiting_.size() == 1;
        lock.unlock();
        if (first) changed_.notify_one();
    }

    void stop() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
            changed_.notify_one();
        }
        if (thread_.joinable()) thread_.join();
    }

private:
    using Batch = std::vector<Work>;
    // How many places a list keeps that are not used.
    static constexpr std::size_t mostIdle = 4096;

    void run() {
        Batch batch;
        while (next(batch))
            for (Work& work : batch) perform(work);
    }

    // Whatever others send must not end the process.
    void perform(Work& work) {
        try {
            Work(std::move(work))();
        } catch (...) {
            failures_.write("a message is dropped: " + thrownText());
        }
    }

    // Sets `batch` to all that waits. False when it is stopped and nothing does. The two lists take turns, with the
    // memory that they have: mostly a batch is one message.
    bool next(Batch& batch) {
        batch.clear();
        if (batch.capacity() > mostIdle) batch = Batch();
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
        batch.swap(waiting_);
        return !batch.empty();
    }

    Complaints failures_;
    std::mutex mutex_;
    std::condition_variable changed_;
    Batch waiting_;
    bool stopped_ = false;
    std::thread thread_;
};

}  // namespace frame::nats
