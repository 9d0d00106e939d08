// The stream of reliable messages, as one connection reaches it: storing, looking, and what is made where it is missing
// and this process may make it. A site whose processes may not has an administrator who makes it all beforehand.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "bus/nats/handles.h"
#include "bus/nats/streams.h"

namespace frame::nats {

// All operations may be called from any thread, and wait for the server a few seconds at most.
class JetStream {
public:
    // `stream`: how it is to be; must outlive this. Throws std::bad_alloc.
    JetStream(Connection connection, const StreamSettings& stream);

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
        int consumers = 0;
    };
    // Nothing, and why, when the stream cannot be looked at. Makes it when it is missing.
    std::optional<State> look(std::string& error);

    // The highest number that any of so many consumers has handed out; nothing, and why, when not all tell.
    std::optional<std::uint64_t> handedOut(int consumers, std::string& error) const;

    // The newest message with this subject; null when it is not there, or, with `missing` false, nobody tells.
    Message find(const std::string& subject, bool& missing) const;

    // Hands out messages of the consumer; null, and why, when that cannot be. Makes it when it is missing.
    SubscriptionHandle consume(const ConsumerSettings& consumer, std::string& error);
    // Whether the server says that there is no such consumer, or no stream.
    bool lacks(const std::string& consumer) const;

private:
    using Clock = std::chrono::steady_clock;

    natsStatus makeStream(std::string& error);
    natsStatus makeConsumer(const ConsumerSettings& consumer, std::string& error);
    natsStatus bind(SubscriptionHandle& made, const std::string& consumer, jsErrCode& code) const;
    // Whether it is time to try: where it is forbidden, each try waits for an answer that never comes.
    bool mayMake() const;
    void isThere();
    // Whether it may be made: it is missing for long enough, or no stream can have been deleted just now.
    bool isGone();
    // Whether the server has done nothing that it was asked for since it started.
    bool isUntouched() const;
    natsStatus tried(natsStatus status, jsErrCode code, std::string& error);

    const StreamSettings& stream_;
    const Connection connection_;
    const std::unique_ptr<jsCtx, void (*)(jsCtx*)> context_;
    mutable std::mutex mutex_;
    Clock::time_point nextMaking_;
    std::optional<Clock::time_point> missingSince_;  // the stream
};

}  // namespace frame::nats
