// What waits between the threads that raise events and the one that delivers them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "event/spin_lock.h"
#include "platform/event.h"

namespace frame {

// An event that waits. Short records are copied into it: the thread that raises and the one that delivers then share no
// memory but this line, and each one's heap stays its own.
class alignas(64) WaitingEvent {
public:
    // `octets`: those of `record`.
    WaitingEvent(unsigned long id, const CProcID& sender, const Payload& record, std::string_view octets);

    // Gives the event; once. Throws std::bad_alloc.
    Event take();
    std::size_t octets() const { return shortSize_ + longRecord_.size(); }

private:
    static constexpr std::size_t shortCapacity = 40;

    unsigned long id_;
    Payload longRecord_;
    CProcID sender_;
    std::uint32_t shortSize_ = 0;
    char shortRecord_[shortCapacity];
};

// A bounded queue with many writers and one reader. The reader takes whole batches, naps after each, and sleeps until
// it is woken only when nothing came meanwhile: a steady stream of events wakes nobody and is rarely disturbed.
class EventQueue {
public:
    static constexpr std::size_t capacity = 65536;           // events that wait
    static constexpr std::size_t octetCapacity = 64U << 20;  // octets of their records

    // Makes room for all events there may ever be, so that adding one allocates nothing.
    EventQueue();

    // Adds an event; false when the queue is full or stopped.
    bool push(unsigned long id, const CProcID& sender, const Payload& record) noexcept;
    // The number that the next event pushed will have; counted from 0.
    std::uint64_t next();

    // For the reader: waits for events and gives all there are, in order; null when the queue was stopped. Valid until
    // the next call.
    std::vector<WaitingEvent>* take();
    // For the reader: an event with a record of `octets` was handled and no longer counts.
    void handled(std::size_t octets);
    // For the reader: how many events were refused since the last call because the queue was full.
    std::uint64_t refused();

    // Refuses events from now on and makes `take` return null.
    void stop();
    bool stopped() const { return stopped_.load(std::memory_order_relaxed); }

private:
    // Counts that only grow: what waits is what was pushed less what was handled.
    struct Count {
        std::uint64_t events = 0;
        std::uint64_t octets = 0;
    };

    bool fits(std::size_t octets);
    bool wakes();
    bool fallAsleep();

    // What writers change, on one line.
    alignas(64) std::vector<WaitingEvent> incoming_;
    Count pushed_;
    Count handledSeen_;                       // as far as the writers had to look
    std::atomic<std::uint32_t> sleeping_{0};  // 1: the reader waits for 0; changed with the lock held
    SpinLock lock_;
    std::atomic<bool> stopped_{false};  // set with the lock held

    // What the reader changes for every event, and what is rarely looked at.
    alignas(64) std::atomic<std::uint64_t> handledEvents_{0};
    std::atomic<std::uint64_t> handledOctets_{0};
    std::vector<WaitingEvent> batch_;
    std::uint64_t refused_ = 0;  // guarded by the lock
};

}  // namespace frame
