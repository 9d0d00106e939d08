// The reliable channel over a stream. It keeps messages until they have been fetched, or are a week old; the processes
// of a type share one durable consumer for each message identifier, so a message reaches one process of each type.
//
// The server acknowledges what it has not yet written to the disk. So a message is `kept`, not `done`, and whether what
// was kept may be gone is found out by looking at the stream: after each loss of the connection, when it cannot be
// reached, when it is another one, and when its last number went back.
//
// Where it went back, consumers may be ahead of it: they never hand out a message that gets one of the numbers in
// between. So whoever has reason to look again fills those with messages that nobody asks for, before it stores any.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "bus/nats/jetstream.h"
#include "bus/nats/lane.h"
#include "bus/nats/reasons.h"
#include "bus/nats/station.h"
#include "bus/sinks.h"

namespace frame::nats {

class Reliable {
public:
    using Watcher = std::function<void()>;
    using Clock = std::chrono::steady_clock;

    struct Received {
        Lane* lane;
        Lane::Ticket ticket;
    };

    Reliable(Station& station, const std::string& system) : station_(station), settings_(reliableStream(system)) {}
    ~Reliable() { stop(); }
    Reliable(const Reliable&) = delete;
    Reliable& operator=(const Reliable&) = delete;

    Delivery publish(const ReliableMessage& message);
    // As BusEngine::keptLife.
    std::optional<std::uint64_t> life();

    Received subscribe(unsigned long id, ReliableSink sink);
    static void end(const Received& received) { received.lane->end(received.ticket); }

    Sinks<Watcher>::Ticket watch(Watcher changed) {
        return watchers_.add(std::make_unique<Watcher>(std::move(changed)), this);
    }

    void isLost();
    void isFound();
    // No sink and no watcher is running any more, or will be called.
    void stop();

private:
    // The stream over the connection that there is; null when there is none.
    std::shared_ptr<JetStream> jetStream();
    // Tells the server of sinks that take long.
    void keepTelling();
    void forEachLane(const std::function<void(Lane&)>& call);

    // All with publishing_ held.
    // Whether the stream is known to be the one that it was.
    bool certain(const JetStream& jetStream) const;
    // Whether it was looked at so long ago that it may have gone back unnoticed: behind a leaf, or another node, no
    // connection of this process is lost then.
    bool idle() const;
    // Looks at the stream; false when that cannot be.
    bool look(JetStream& jetStream);
    // Sees to it that no message gets a number that a consumer has already passed; false when that cannot be.
    bool fill(const JetStream& jetStream, JetStream::State& state);
    Delivery store(JetStream& jetStream, const ReliableMessage& message);
    Delivery storePieces(JetStream& jetStream, const ReliableMessage& message, std::size_t most);
    Delivery storeOne(JetStream& jetStream, const Message& message, const std::string& identifier);
    // The server did not say that it has a message: whether only those of that identifier wait, or all.
    Delivery unanswered(JetStream& jetStream);
    void fails(const std::string& why);

    Station& station_;
    const StreamSettings settings_;
    Sinks<Watcher> watchers_;

    std::mutex mutex_;
    std::map<unsigned long, std::unique_ptr<Lane>> lanes_;
    std::shared_ptr<JetStream> jetStream_;
    bool stopped_ = false;
    std::condition_variable stopping_;
    std::thread teller_;  // since there is a lane

    std::mutex publishing_;
    std::uint64_t life_ = 0;
    std::weak_ptr<natsConnection> lookedThrough_;  // which connection, and how many times it had been lost then
    std::uint64_t reconnects_ = 0;
    Clock::time_point looked_{};
    std::optional<JetStream::State> known_;  // of the stream, when it was looked at or stored into last
    Reasons told_;
};

}  // namespace frame::nats
