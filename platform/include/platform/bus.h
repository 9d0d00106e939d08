// The bus seam: how a process reaches others, whichever engine carries it. Requests, event managers and the reliable
// channel stand on it; an engine is chosen by configuration.
//
// All operations may be called from any thread. No exception but std::bad_alloc leaves them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/payload.h"

// The address of a process. Handle 0 in a destination means any process of that type.
struct CProcID {
    std::uint16_t procType = 0;
    std::uint16_t procHandle = 0;
};

inline bool operator==(const CProcID& a, const CProcID& b) {
    return a.procType == b.procType && a.procHandle == b.procHandle;
}
inline bool operator!=(const CProcID& a, const CProcID& b) {
    return !(a == b);
}

class AsnType;

namespace frame {

// "type:handle", as messages and command lines write an address.
FRAME_API std::string toText(const CProcID& address);

// What the bus says of a message, by what the sender does next.
enum class BusCode : int {
    ok = 0,
    down = 1,      // the engine is not connected, or stopped: try again later
    overflow = 2,  // a queue is full and the message was dropped: send less, or later
    tooLarge = 3,  // the message can never pass: do not try again
};

// Ends a subscription when it is destroyed. Then its handler is not running and will not be called again; destroying
// it inside that very handler is allowed and does not wait.
class FRAME_API Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> end) : end_(std::move(end)) {}
    Subscription(Subscription&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        std::swap(end_, other.end_);
        return *this;
    }
    ~Subscription() {
        if (end_) end_();
    }
    explicit operator bool() const { return static_cast<bool>(end_); }

private:
    std::function<void()> end_;
};

struct EventMessage {
    unsigned long id = 0;
    CProcID sender;
    Payload record;
};

// A message of the reliable channel. `identifier` is unique for ever: a repeat carries the same one.
struct ReliableMessage {
    std::string identifier;
    unsigned long id = 0;
    CProcID sender;
    Payload record;
};

// A request as its receiver sees it.
struct FRAME_API RequestMessage {
    unsigned long id = 0;
    CProcID sender;
    Payload record;

    // As Event::decode.
    bool decode(AsnType& into) const;
};

// One command with its record for every process that listens to a target.
struct FRAME_API BroadcastMessage {
    std::uint32_t command = 0;
    std::uint16_t target = 0;
    CProcID sender;
    Payload record;

    // As Event::decode.
    bool decode(AsnType& into) const;
};

// What became of a request, a command message or a broadcast, by what the sender does next.
enum class RequestCode : int {
    ok = 0,
    noProcess = 1,    // no process there takes this request: start one, or correct the address
    timedOut = 2,     // no answer in time; the request may have been carried out
    undecodable = 3,  // the answer is not the record that was expected: the processes do not fit together
    down = 4,         // the engine is not connected, or the process is going down: try again later
    tooLarge = 5,     // the request can never pass: do not try again
    unencodable = 6,  // a required field of the request is null: do not try again
};

// The largest request, the largest answer and the largest command message, in octets. Larger answers are not sent.
inline constexpr std::size_t mostRequestOctets = 64U << 20;

// The largest record of a broadcast, in octets.
inline constexpr std::size_t mostBroadcastOctets = 512U << 20;

// What became of a reliable message that was handed to the engine.
enum class Delivery {
    done,        // every receiver there is has acknowledged it
    kept,        // the engine keeps it for its receivers, but may still lose it: see keptLife()
    noReceiver,  // nobody takes this message identifier now: keep it, others may pass
    refused,     // a receiver did not acknowledge it: keep it and try again later, in order
    down,        // the engine is not connected: keep everything and try again later
};

// Called on a thread of the engine or of a publisher; must return soon and must not throw.
using EventSink = std::function<void(const EventMessage&)>;
// Called on a thread of the engine or of a publisher, one message at a time for one subscription; returns whether the
// message is acknowledged. May block; must not throw.
using ReliableSink = std::function<bool(const ReliableMessage&)>;

// Called on a thread of the engine or of a sender, perhaps on several at once; must return soon and must not throw.
using CommandSink = std::function<void(const Payload&)>;

// Called on a thread of its subscription, one message at a time. May block. What it throws is logged.
using BroadcastSink = std::function<void(const BroadcastMessage&)>;

// Called on a thread of the engine, one request at a time for one process; returns the answer, or nothing when there is
// none (the requester's time then runs out). May block. What it throws is logged, and there is no answer.
using RequestSink = std::function<std::optional<Payload>(const RequestMessage&)>;

// One process's place on the bus.
class FRAME_API BusEngine {
public:
    virtual ~BusEngine();

    virtual CProcID address() const = 0;

    // Hands `event` to every sink that another process on the bus has subscribed to its identifier; what the own
    // process is to hear of it needs no bus. Events of one thread arrive in their order. Does not wait for receivers.
    virtual BusCode publishEvent(const EventMessage& event) = 0;
    // `sink` is called for events with `id` that other processes publish.
    virtual Subscription subscribeEvent(unsigned long id, EventSink sink) = 0;

    // Sends a request to `to` (handle 0: any process of that type that takes it) and blocks until its answer is there,
    // up to `timeoutSeconds` (less than 1 counts as 1). `answer` is set when the result is ok, and else left alone.
    // Never undecodable or unencodable.
    virtual RequestCode request(const CProcID& to, const RequestMessage& message, int timeoutSeconds,
                                Payload& answer) = 0;
    // `sink` answers requests with `id` to this process. Throws std::logic_error when another does already.
    virtual Subscription serveRequests(unsigned long id, RequestSink sink) = 0;
    // Requests of this process that wait, and all later ones, give `down`: it is going down.
    virtual void stopRequests() = 0;

    // Hands `message`, a whole command message, to the process `to` (handle 0: any process of that type that receives
    // commands). Does not wait for the receiver. ok, noProcess, down or tooLarge. Messages of one thread to one process
    // arrive in their order.
    virtual RequestCode sendCommand(const CProcID& to, const Payload& message) = 0;
    // `sink` is called for command messages to this process. Throws std::logic_error when another is already.
    virtual Subscription receiveCommands(CommandSink sink) = 0;

    // Sends `message` to every sink that is subscribed to its target, those of the own process included: whole, or not
    // at all. Does not wait for receivers. ok, down or tooLarge. Messages of one thread arrive in their order.
    virtual RequestCode broadcast(const BroadcastMessage& message) = 0;
    // `sink` is called for messages to `target` that are sent from now on. A sink that is slow holds up nobody: what
    // waits for it is kept, up to mostBroadcastOctets in all or one message, and what comes then is dropped for it
    // alone, which is logged. Ending the subscription drops what waits.
    virtual Subscription subscribeBroadcast(std::uint16_t target, BroadcastSink sink) = 0;

    // Hands `message` over, blocking until it is known what became of it. An engine that keeps messages has each of
    // them acknowledged by one process of every type that has ever subscribed to it; any other engine by all
    // subscribers.
    virtual Delivery publishReliable(const ReliableMessage& message) = 0;
    // Of an engine that keeps messages: which life its store is in. Another number than before says that what was
    // `kept` before may be gone, and is to be handed over again, in order and with the same identifiers. Asks the
    // store, which may take seconds; nothing when that does not answer now.
    virtual std::optional<std::uint64_t> keptLife() { return 0; }
    virtual Subscription subscribeReliable(unsigned long id, ReliableSink sink) = 0;
    // `changed` is called whenever a message that was neither `done` nor `kept` may pass now (a new receiver, a
    // connection).
    virtual Subscription watchReliable(std::function<void()> changed) = 0;
};

// The embedded engine: a bus inside one program, without a server. The processes on it are a server process and the
// stand-ins hosted beside it. Sinks are called on the publisher's thread, but for those of requests and broadcasts: a
// process that takes requests has a thread of its own for them, and so has each subscription to broadcasts.
class FRAME_API LocalBus {
public:
    LocalBus();
    ~LocalBus();  // the engines it gave may outlive it
    LocalBus(const LocalBus&) = delete;
    LocalBus& operator=(const LocalBus&) = delete;

    // A place on this bus. Throws std::invalid_argument when `address` is taken.
    std::unique_ptr<BusEngine> connect(CProcID address);

private:
    class Hub;
    class Engine;
    std::shared_ptr<Hub> hub_;
};

}  // namespace frame

namespace FrameUtil {

// Where a request goes.
struct SMsgTarget {
    std::uint16_t procType = 0;
    std::uint16_t procHandle = 0;  // 0: any process of the type
    std::uint16_t desk = 0;        // 0: any; others are not looked at
    std::uint16_t reserved = 0;
};

// Sends `request` to `target` as message `messageId`, and blocks until it is answered, up to `timeoutSeconds` (less
// than 1 counts as 1). Returns 0, and the answer, decoded, in `response` (null: it is not looked at); or a
// frame::RequestCode: then `response` holds what it held, or for `undecodable` what was decoded before the error, which
// is logged. Without a process: RequestCode::down. Throws std::bad_alloc.
FRAME_API int SynSendMsg(const SMsgTarget& target, unsigned long messageId, const AsnType& request, AsnType* response,
                         int timeoutSeconds);

}  // namespace FrameUtil

namespace frame {

// What makes FrameUtil::SynSendMsg and CAsnBcastCmd work, while it lives. Owned by the process.
class FRAME_API Messages {
public:
    // `bus` must outlive it. Throws std::logic_error when this program has another one.
    explicit Messages(BusEngine& bus);
    // Breaks off first.
    ~Messages();
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    // Requests that wait, and all later ones, give RequestCode::down: the process is going down.
    void breakOff();

private:
    BusEngine& bus_;
};

}  // namespace frame
