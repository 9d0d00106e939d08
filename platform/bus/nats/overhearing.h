// Hearing what passes over the bus, whoever it is for.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bus/nats/broadcast_store.h"
#include "bus/nats/exchange.h"
#include "bus/nats/executor.h"
#include "bus/nats/heard.h"
#include "bus/nats/station.h"

namespace frame::nats {

// One who hears: what came waits for a thread that calls the sink, or first for one that fetches its record.
class Overhearing {
public:
    // `reliables`: what the stream of reliable messages is called.
    Overhearing(Station& station, const BroadcastStore& broadcasts, std::string reliables, OverhearOptions options,
                OverhearSink sink);

    // Once. It is held until the end.
    void start(const std::shared_ptr<Overhearing>& self);
    // The sink has had what came before when it returns; inside the sink it does not wait, and what came before is
    // dropped.
    void end();

private:
    using Kind = Overheard::Kind;

    // What came, and waits for the sink.
    struct Turn {
        Overhearing& hearing;
        Room::Place place;
        Heard heard;

        void operator()() { hearing.handOver(heard); }
    };

    // On a thread of the client, perhaps also after the end.
    void take(Kind kind, const std::shared_ptr<Room>& room, natsMsg* message);
    void handOver(Heard& heard);
    void fetch(Heard& heard);
    BroadcastStore::Fetched fetchRecord(const Heard& heard);
    BroadcastStore::Fetched fetchReliable(const Overheard& message, const Whole& whole);
    void call(const Overheard& message);

    Station& station_;
    const BroadcastStore& broadcasts_;
    const std::string reliables_;
    const OverhearOptions options_;
    const OverhearSink sink_;
    Pieces pieces_;
    LivePieces noLive_;
    std::atomic<bool> off_{false};
    Exchange exchange_;
    std::vector<Interests::Key> keys_;

    std::mutex ending_;
    std::mutex calling_;
    std::atomic<bool> silent_{false};
    Executor<Turn> fetcher_;
    Executor<Turn> caller_;
};

// Those of one process.
class Overhearings {
public:
    Overhearings(Station& station, const BroadcastStore& broadcasts, const std::string& system);

    std::shared_ptr<Overhearing> add(const OverhearOptions& options, OverhearSink sink);
    void end(const std::shared_ptr<Overhearing>& hearing);
    void stop();

private:
    Station& station_;
    const BroadcastStore& broadcasts_;
    const std::string reliables_;
    std::mutex mutex_;
    // One that ends inside its own sink stays until the process's end: somebody must wait for its thread.
    std::vector<std::shared_ptr<Overhearing>> hearings_;
};

}  // namespace frame::nats
