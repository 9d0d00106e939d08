// What one subscription to broadcasts has not handled yet, and the thread that handles it.
#pragma once

#include <memory>
#include <thread>

#include "platform/bus.h"

namespace frame {

class BroadcastReceiver {
public:
    explicit BroadcastReceiver(BroadcastSink sink);
    // Drops what waits, and waits for the sink to return; inside that very sink it does not wait.
    ~BroadcastReceiver();
    BroadcastReceiver(const BroadcastReceiver&) = delete;
    BroadcastReceiver& operator=(const BroadcastReceiver&) = delete;

    // Does not wait for the sink. Drops `message` when too much waits already.
    void push(const BroadcastMessage& message);

private:
    class Waiting;
    // Shared with the thread, which outlives this object when the sink itself ends the subscription.
    std::shared_ptr<Waiting> waiting_;
    std::thread thread_;
};

}  // namespace frame
