// The thread that sinks run on: the client's own threads must go on.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace frame::nats {

class Executor {
public:
    Executor() : thread_([this] { run(); }) {}
    // What was pushed before is done first.
    ~Executor() { stop(); }
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    // `work` is called once, and may be move-only. Does nothing once stopped. The caller bounds what waits here.
    template <class Call>
    void push(Call work) {
        add(std::make_unique<Holding<Call>>(std::move(work)));
    }
    void stop();

private:
    struct Work {
        virtual ~Work() = default;
        virtual void run() = 0;
    };
    template <class Call>
    struct Holding final : Work {
        explicit Holding(Call held) : call(std::move(held)) {}
        void run() override { call(); }
        Call call;
    };
    using Batch = std::vector<std::unique_ptr<Work>>;

    void add(std::unique_ptr<Work> work);
    void run();
    // All that waits; nothing when it is stopped.
    Batch next();

    std::mutex mutex_;
    std::condition_variable changed_;
    Batch waiting_;
    bool stopped_ = false;
    std::thread thread_;
};

}  // namespace frame::nats
