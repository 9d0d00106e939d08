// Broadcasts between processes. A small record travels in its announcement; the pieces of a large one stand in the
// server's stream when it is announced, and each receiver fetches them from there at its own speed.
#pragma once

#include <atomic>
#include <memory>

#include "bus/broadcasts.h"
#include "bus/nats/broadcast_store.h"
#include "bus/nats/station.h"

namespace frame::nats {

class Broadcasts {
public:
    class Receiving;

    Broadcasts(Station& station, const std::string& system) : station_(station), store_(station, system) {}

    RequestCode send(const BroadcastMessage& message);
    std::shared_ptr<Receiving> receive(std::uint16_t target, BroadcastSink sink);
    static void end(Receiving& receiving);

    const BroadcastStore& store() const { return store_; }

    // What is being sent or fetched is broken off, and what waits for sinks dropped. Waits for the sinks.
    void stop();

private:
    // Where the record is put, or where it will be found.
    bool enclose(const BroadcastMessage& message, Outgoing& announcement);

    Station& station_;
    BroadcastStore store_;
    Complaints refusals_;
    std::atomic<bool> off_{false};
    BroadcastReceivers receivers_;
};

}  // namespace frame::nats
