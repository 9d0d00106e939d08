// Receiving the reliable messages of one identifier: a thread that fetches one at a time for its sinks.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "bus/nats/jetstream.h"
#include "bus/nats/station.h"
#include "bus/sinks.h"

namespace frame::nats {

class Lane {
public:
    using Ticket = Sinks<ReliableSink>::Ticket;
    // The stream over the connection that there is; null when there is none.
    using Stream = std::function<std::shared_ptr<JetStream>()>;

    Lane(Station& station, Stream stream, unsigned long id);
    ~Lane() { stop(); }
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;

    Ticket add(ReliableSink sink);
    void end(const Ticket& ticket);
    // The connection was lost, or is there again.
    void connectionChanged();
    // Tells the server if a sink is running.
    void stillBusy();
    // Waits for a sink that is running.
    void stop();

private:
    void run();
    // Waits until there are sinks; false when it is to end.
    bool waitUntilWanted();
    // Gets ready to fetch; false when that cannot be now.
    bool open();
    void fetch();
    void cannot(const std::string& error);
    void pause();
    // Whoever waits for a message waits no more.
    void interrupt();

    void take(natsMsg* message);
    // Says once that many messages wait behind this one, and once that few do again.
    void tellOfLag(std::uint64_t waiting);
    // Nothing when a piece is missing.
    std::optional<Payload> assemble(const std::string& identifier, const Whole& whole);
    // The stream has not all pieces of that message.
    void isIncomplete(const std::string& identifier);
    bool isHopeless(const std::string& identifier) const;
    void setInHand(natsMsg* message);
    bool handOver(const ReliableMessage& message);
    void tryAgain(natsMsg* message) const;

    Station& station_;
    const Stream stream_;
    const unsigned long id_;
    const std::string subject_;
    const ConsumerSettings consumer_;
    Sinks<ReliableSink> sinks_;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopped_ = false;
    bool woken_ = false;
    natsMsg* inHand_ = nullptr;        // while its pieces are fetched, and while sinks have it
    SubscriptionHandle subscription_;  // replaced by the thread only, and ended by any

    // The thread's.
    std::shared_ptr<JetStream> jetStream_;
    int failures_ = 0;
    bool behind_ = false;     // and the log says so
    std::string incomplete_;  // the message whose pieces were not there, and how often in a row
    int looks_ = 0;
    std::thread thread_;
};

}  // namespace frame::nats
