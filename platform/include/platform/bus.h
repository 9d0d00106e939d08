// The bus seam: how a process reaches others, whichever engine carries it. Event managers and the reliable channel
// stand on it; an engine is chosen by configuration.
//
// All operations may be called from any thread. No exception but std::bad_alloc leaves them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
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

// What became of a reliable message that was handed to the engine.
enum class Delivery {
    done,        // every receiver there is has acknowledged it, or the engine has it in safe keeping
    noReceiver,  // nobody takes this message identifier now: keep it, others may pass
    refused,     // a receiver did not acknowledge it: keep it and try again later, in order
    down,        // the engine is not connected: keep everything and try again later
};

// Called on a thread of the engine or of a publisher; must return soon and must not throw.
using EventSink = std::function<void(const EventMessage&)>;
// Called on a thread of the engine or of a publisher, one message at a time for one subscription; returns whether the
// message is acknowledged. May block; must not throw.
using ReliableSink = std::function<bool(const ReliableMessage&)>;

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

    // Hands `message` over, blocking until it is known what became of it.
    virtual Delivery publishReliable(const ReliableMessage& message) = 0;
    virtual Subscription subscribeReliable(unsigned long id, ReliableSink sink) = 0;
    // `changed` is called whenever a message that was not `done` may pass now (a new receiver, a connection).
    virtual Subscription watchReliable(std::function<void()> changed) = 0;
};

// The embedded engine: a bus inside one program, without a server. The processes on it are a server process and the
// stand-ins hosted beside it. Sinks are called on the publisher's thread.
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
