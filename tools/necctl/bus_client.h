// One connection to a broker, without a place on the bus: for looking at things without taking part in them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bus/nats/handles.h"
#include "bus/nats/inbox.h"
#include "failure.h"
#include "platform/config.h"

namespace necctl {

// The server does not let this user in.
class TurnedAway : public Failure {
public:
    using Failure::Failure;
};

class BusClient {
public:
    using Message = frame::nats::Message;

    // Connects to one of the servers of `options`. Throws Failure, which says why none takes it.
    BusClient(const CProcID& address, const frame::NatsOptions& options);

    // What it is connected to.
    std::string server() const;
    std::int64_t maxPayload() const { return natsConnection_GetMaxPayload(connection_.get()); }
    // Nothing when the server does not answer.
    std::optional<std::chrono::nanoseconds> roundTrip() const;

    // Whether the server lets this user do so. What is published has no content, and a header at which no stream takes
    // it.
    bool mayPublish(const std::string& subject) const;
    bool maySubscribe(const std::string& subject) const;

    struct Answer {
        bool refused = false;  // this user may not ask that
        Message message;       // null when none came
    };
    Answer ask(const std::string& subject, const std::string& text = {}) const;
    // Asks all who listen to `subject`, and returns what comes within `length`, `most` at most.
    std::vector<Message> askAll(const std::string& subject, std::chrono::milliseconds length, std::size_t most,
                                bool& refused) const;

private:
    using Clock = std::chrono::steady_clock;

    void publish(const std::string& subject, const std::string& reply, const std::string& text, const char* header,
                 const std::string& value) const;
    // Whether the server's last complaint is that this is not permitted: it complains before it answers.
    bool refused(const std::string& what, const std::string& subject) const;
    // The next one that came there; null when none does in time.
    Message next(const std::string& subject, Clock::time_point deadline) const;

    std::string sender_;
    std::shared_ptr<natsConnection> connection_;
    mutable frame::nats::Inbox inbox_;
    frame::nats::SubscriptionHandle answers_;
};

}  // namespace necctl
