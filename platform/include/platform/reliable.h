// The reliable channel: messages that survive the end of the sender, of the receiver and of the machine. A message
// is on disk here (the outbox, an SQLite file) before `Send` returns 0, and is handed on until it is acknowledged:
// at least once, and in order for each message identifier.
//
// Repeats. A message is acknowledged when its handlers are done with it; that, and its identifier, is on disk a few
// milliseconds later, together with the messages that are accepted meanwhile. Repeats of an identifier that is on disk,
// or was handled by this process, are dropped before a handler sees them. So a handler sees a message again only where
// the process, or the machine, ended between the handler's return and that writing. One that must not do its work
// twice stores `ReliableEvent::identifier` together with the work's effect, in one transaction, and skips a message
// whose identifier it finds there. The newest 100,000 identifiers are kept.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bus.h"
#include "platform/export.h"

class AsnType;

namespace frame {

// What `ReliableEventProxy::Send` returns, by what the sender does next.
enum class ReliableCode : int {
    ok = 0,
    closed = 1,       // the process is going down: nothing can be sent any more
    storage = 2,      // the outbox cannot be written (disk full, file damaged; the log says what): nothing was accepted
    full = 3,         // the outbox holds as many messages as it may: nothing was accepted, try again later
    tooLarge = 4,     // the record is larger than one message may be (64 MiB): do not try again
    unencodable = 5,  // a required field of the record is null: do not try again
};

struct ReliableOptions {
    // The outbox file; made with mode 0600 when missing. Empty: the process has no reliable channel.
    std::string file;
    // How many messages may wait in it, at most.
    std::uint64_t limit = 1'000'000;
    // How long a message stays in it that a bus keeps which may lose what it was given last: longer than that bus's
    // machines take to write to their disks.
    std::chrono::milliseconds hold = std::chrono::minutes(2);
};

// A message as a receiver sees it.
class FRAME_API ReliableEvent {
public:
    std::string identifier;  // unique for ever; a receiver may store it together with the effect it has
    unsigned long id = 0;
    CProcID sender;
    Payload record;

    // As Event::decode.
    bool decode(AsnType& into) const;
};

// Handles one message; returns whether it is done with. False, or an exception (which is logged), leaves the message
// for another try after 50 ms, later up to 5 s, with those of the same message identifier behind it waiting. Where one
// message identifier has several handlers, all must be done with a message, or all get it again. Called on a thread of
// the bus or of a sender's channel, one message at a time for one message identifier; may send, subscribe and end
// subscriptions.
using ReliableHandler = std::function<bool(const ReliableEvent&)>;

// What waits in an outbox.
struct OutboxSummary {
    std::uint64_t depth = 0;
    std::optional<std::string> oldestIdentifier;
    std::optional<std::int64_t> oldestUnixMilliseconds;  // when it was accepted
    struct Waiting {
        std::string identifier;
        unsigned long id = 0;
        std::int64_t unixMilliseconds = 0;
        std::uint64_t octets = 0;
    };
    std::vector<Waiting> waiting;  // oldest first, at most as many as asked for
};

// What waits in the outbox of a process that runs.
struct OutboxStatus {
    std::uint64_t depth = 0;  // messages in it
    std::uint64_t held = 0;   // of those, what the bus keeps and may still lose: they stay for ReliableOptions::hold
};

// Reads the outbox `file` without changing it, also while a process works with it. Throws std::runtime_error, which
// names the file and what is wrong with it.
FRAME_API OutboxSummary readOutbox(const std::string& file, std::size_t most);

}  // namespace frame

namespace NSTE_util {

// The process's door to the reliable channel. All operations may be called from any thread.
class FRAME_API ReliableEventProxy {
public:
    // Null when the process has no reliable channel. The pointer stays valid until the program ends; once the process
    // is gone, operations on it do nothing and say so.
    static ReliableEventProxy* Instance();

    // Encodes `record` and blocks until it is on disk; the record is not needed afterwards. Returns 0, or a
    // frame::ReliableCode, with the reason in the log; then nothing was accepted. Throws std::bad_alloc; likewise.
    int Send(unsigned long messageId, const AsnType& record);
    // `handler` is called for messages with `messageId`, those included that were waiting for a receiver. The
    // subscription may outlive the process; it is empty when the process is gone already.
    frame::Subscription Subscribe(unsigned long messageId, frame::ReliableHandler handler);
};

}  // namespace NSTE_util

namespace frame {

// What makes the reliable channel's door open, while it lives: outbox, forwarder and receiving side. Owned by the
// process.
class FRAME_API ReliableChannel {
public:
    // `bus` must outlive it. Throws std::runtime_error, which names the file and what is wrong, when the outbox cannot
    // be used: not writable, damaged, not an outbox, of a newer version, or used by another process; and
    // std::logic_error when this program has a channel already.
    ReliableChannel(BusEngine& bus, const ReliableOptions& options);
    // Closes the door, waits for a handler that is running, and leaves what is not acknowledged in the file.
    ~ReliableChannel();
    ReliableChannel(const ReliableChannel&) = delete;
    ReliableChannel& operator=(const ReliableChannel&) = delete;

    OutboxStatus status() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace frame
