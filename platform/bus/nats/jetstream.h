// The stream of reliable messages, as one connection reaches it: storing, looking, and what is made where it is missing
// and this process may make it. A site whose processes may not has an administrator who makes it all beforehand.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "bus/nats/handles.h"

namespace frame::nats {

// A process that has a message, and says nothing of it for so long, is taken for dead: another one gets it.
inline constexpr std::chrono::seconds takenForDead{10};

// What the stream of a system, and what is in it, is called.
class StreamNames {
public:
    explicit StreamNames(const std::string& system);

    const std::string& stream() const { return stream_; }
    const std::string& messages() const { return messages_; }  // subjects, with wildcards
    const std::string& pieces() const { return pieces_; }

    // The consumer of one message identifier that the processes of a type share.
    static std::string consumer(std::uint16_t type, unsigned long id);

private:
    const std::string stream_;
    const std::string messages_;
    const std::string pieces_;
};

// All operations may be called from any thread, and wait for the server a few seconds at most.
class JetStream {
public:
    // Throws std::bad_alloc.
    JetStream(Connection connection, const StreamNames& names);

    const Connection& connection() const { return connection_; }
    // How many times the connection was lost and found again.
    std::uint64_t reconnects() const;

    // What became of a message that was to be stored.
    struct Stored {
        natsStatus status = NATS_OK;
        bool refused = false;        // by the stream: there is no room
        bool repeated = false;       // it was there already
        std::uint64_t sequence = 0;  // its number there
        std::string error;
    };
    Stored store(natsMsg* message, const std::string& identifier) const;

    struct State {
        std::int64_t created = 0;
        std::uint64_t last = 0;  // the number of the newest message
    };
    // Nothing, and why, when the stream cannot be looked at. Makes it when it is missing.
    std::optional<State> look(std::string& error);

    // The newest message with this subject; null when it is not there.
    Message find(const std::string& subject) const;

    // Hands out messages of the consumer; null, and why, when that cannot be. Makes it when it is missing.
    SubscriptionHandle consume(const std::string& consumer, const std::string& subject, std::string& error);
    // Whether the server says that there is no such consumer.
    bool lacks(const std::string& consumer) const;

private:
    using Clock = std::chrono::steady_clock;

    natsStatus makeStream(std::string& error);
    natsStatus makeConsumer(const std::string& consumer, const std::string& subject, std::string& error);
    natsStatus bind(SubscriptionHandle& made, const std::string& consumer, jsErrCode& code) const;
    // Whether it is time to try: where it is forbidden, each try waits for an answer that never comes.
    bool mayMake() const;
    void isThere();
    // Whether it is missing for long enough to be made.
    bool isGone();
    natsStatus tried(natsStatus status, jsErrCode code, std::string& error);

    const StreamNames& names_;
    const Connection connection_;
    const std::unique_ptr<jsCtx, void (*)(jsCtx*)> context_;
    mutable std::mutex mutex_;
    Clock::time_point nextMaking_;
    bool seen_ = false;                              // the stream
    std::optional<Clock::time_point> missingSince_;  // when it had been seen before
};

}  // namespace frame::nats
