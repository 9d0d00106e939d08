// A synchronous command message from one process to another of the same program and back, beside what two threads need
// at least to call each other.
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "bench.h"
#include "platform/bus.h"
#include "platform/task.h"

namespace {

constexpr CProcID asker{3001, 7};
constexpr CProcID answerer{45445, 1};
constexpr unsigned char manager = 200;
constexpr long burst = 1000;

class EchoTask : public TesuTask {
public:
    using TesuTask::TesuTask;
    void TesuTaskCmdRecv(CmdMSG* message) override { TesuCmdAnswer(*message, message->payloadView()); }
};

// Two processes on a bus, one of which answers.
class Asking {
public:
    Asking() {
        auto* echo = new EchoTask(there_.find(manager), "Echo");
        there_.find(manager)->TMInitInsertTask(echo);
        there_.find(manager)->TMSetCmdTask(echo);
        identifier_ = here_.find(0)->AllocReqID(task_);
        here_.find(0)->TMInitInsertTask(task_);
    }
    ~Asking() { task_->TesuSetTaskState(taskRetired); }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

    void ask() {
        auto* message = new (cmdHeaderOctets) TesuCmdMSG;
        task_->FillCmdMsgHead(message);
        message->dstType = answerer.procType;
        message->dstManager = manager;
        message->requestId = static_cast<std::uint16_t>(identifier_);
        message->length = 2;
        CmdMSG* answer = nullptr;
        if (task_->TesuCmdSynSendCBEx(message, answer, 10) == 0) throw std::runtime_error("no answer");
        delete answer;
    }

private:
    using Managers = frame::TaskManagers;

    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> hereEngine_ = bus_.connect(asker);
    std::unique_ptr<frame::BusEngine> thereEngine_ = bus_.connect(answerer);
    Managers here_{*hereEngine_, 0, {0}, Managers::Reach::ofAStandIn};
    Managers there_{*thereEngine_, 0, {manager}, Managers::Reach::ofAStandIn};
    TesuTask* task_ = new TesuTask(here_.find(0), "Asking");
    unsigned long identifier_ = 0;
};

// Two threads that call each other by turns.
class PingPong {
public:
    ~PingPong() {
        pass(Turn::over);
        thread_.join();
    }

    void ask() {
        pass(Turn::there);
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return turn_ == Turn::here; });
    }

private:
    enum class Turn { here, there, over };

    void pass(Turn turn) {
        {
            const std::lock_guard lock(mutex_);
            turn_ = turn;
        }
        changed_.notify_one();
    }
    bool waitForTurn() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return turn_ != Turn::here; });
        return turn_ == Turn::there;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    Turn turn_ = Turn::here;
    std::thread thread_{[this] {
        while (waitForTurn()) pass(Turn::here);
    }};
};

bench::Figures roundTrip(const bench::Run& run) {
    Asking asking;
    PingPong pingPong;
    return bench::alternate(
        run, bench::Clock::wall, burst,
        [&asking] {
            for (long i = 0; i < burst; ++i) asking.ask();
        },
        [&pingPong] {
            for (long i = 0; i < burst; ++i) pingPong.ask();
        });
}

const bool registered =
    bench::add({"command, synchronous round trip, ns; peer: ping-pong of two threads", bench::atMost(2.5), roundTrip});

}  // namespace
