// What subscriptions to broadcasts have not handled yet, and the threads that handle it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/bus.h"

namespace frame {

// One subscription.
class BroadcastReceiver {
public:
    // Its thread starts here. `target`: for the log.
    BroadcastReceiver(std::uint16_t target, BroadcastSink sink);
    // Stops. Not inside the sink.
    ~BroadcastReceiver();
    BroadcastReceiver(const BroadcastReceiver&) = delete;
    BroadcastReceiver& operator=(const BroadcastReceiver&) = delete;

    // Does not wait for the sink. Drops `message` when too much waits already, which is logged.
    void push(const BroadcastMessage& message) noexcept;
    // Drops what waits. Afterwards the sink is not running and will not be called again; inside that very sink it does
    // not wait, and the thread ends when the sink returns. May be called by several threads.
    void stop();
    // Whether its thread has ended.
    bool ended() const { return ended_; }

private:
    class Waiting;

    const std::unique_ptr<Waiting> waiting_;
    std::atomic<bool> ended_{false};
    std::once_flag joined_;
    std::thread thread_;
};

// Those of one process. Where a sink has ended its own subscription nobody else waits for its thread; these do.
class BroadcastReceivers {
public:
    std::shared_ptr<BroadcastReceiver> add(std::uint16_t target, BroadcastSink sink);
    void stopAll();

private:
    std::mutex mutex_;
    std::vector<std::shared_ptr<BroadcastReceiver>> receivers_;
};

}  // namespace frame
