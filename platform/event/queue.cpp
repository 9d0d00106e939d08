#include "event/queue.h"

#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

namespace frame {

namespace {

// How long the reader lets events gather before it takes them. Each time it looks, it takes the queue's memory away
// from the writers' processor; and while it naps, nobody has to wake it.
constexpr auto nap = std::chrono::microseconds(100);

// Begins to fetch the line at `place` for writing. The builtin does that on other processors; on x86-64 it would fetch
// for reading only, and the write would wait once more.
void fetchForWriting(const void* place) {
#if defined(__x86_64__)
    asm volatile("prefetchw %0" : : "m"(*static_cast<const char*>(place)));
#else
    __builtin_prefetch(place, 1);
#endif
}

}  // namespace

WaitingEvent::WaitingEvent(unsigned long id, const CProcID& sender, const Payload& record, std::string_view octets)
    : id_(id), sender_(sender) {
    if (octets.size() > shortCapacity) {
        longRecord_ = record;
    } else if (!octets.empty()) {
        shortSize_ = static_cast<std::uint32_t>(octets.size());
        std::memcpy(shortRecord_, octets.data(), octets.size());
    }
}

Event WaitingEvent::take() {
    Event event{id_, sender_, {}};
    if (shortSize_ != 0)
        event.record = Payload({shortRecord_, shortSize_});
    else if (longRecord_.size() != 0)
        event.record = std::move(longRecord_);
    return event;
}

EventQueue::EventQueue() {
    incoming_.reserve(capacity);
    batch_.reserve(capacity);
}

bool EventQueue::push(unsigned long id, const CProcID& sender, const Payload& record) noexcept {
    const std::string_view octets = record.view();
    bool wake = false;
    {
        const std::lock_guard lock(lock_);
        if (stopped() || !fits(octets.size())) return false;
        incoming_.emplace_back(id, sender, record, octets);
        ++pushed_.events;
        pushed_.octets += octets.size();
        wake = wakes();
        // The reader had the next place last, and atomic operations wait for writes: begin to fetch it now.
        fetchForWriting(incoming_.data() + incoming_.size());
    }
    if (wake) sleeping_.notify_one();
    return true;
}

// The reader's counts are read only when those seen last no longer do: reading them costs both sides.
bool EventQueue::fits(std::size_t octets) {
    const auto room = [&] {
        return pushed_.events - handledSeen_.events < capacity &&
               pushed_.octets - handledSeen_.octets + octets <= octetCapacity;
    };
    if (room()) return true;
    handledSeen_.events = handledEvents_.load(std::memory_order_relaxed);
    handledSeen_.octets = handledOctets_.load(std::memory_order_relaxed);
    if (room()) return true;
    ++refused_;
    return false;
}

std::uint64_t EventQueue::next() {
    const std::lock_guard lock(lock_);
    return pushed_.events;
}

void EventQueue::handled(std::size_t octets) {
    // Nobody else writes these two: no read-modify-write is needed.
    handledOctets_.store(handledOctets_.load(std::memory_order_relaxed) + octets, std::memory_order_relaxed);
    handledEvents_.store(handledEvents_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

std::uint64_t EventQueue::refused() {
    const std::lock_guard lock(lock_);
    return std::exchange(refused_, 0);
}

std::vector<WaitingEvent>* EventQueue::take() {
    batch_.clear();
    std::this_thread::sleep_for(nap);
    while (fallAsleep()) sleeping_.wait(1);
    if (stopped()) return nullptr;
    const std::lock_guard lock(lock_);
    incoming_.swap(batch_);
    return &batch_;
}

// Whether the reader has to wait until it is woken.
bool EventQueue::fallAsleep() {
    const std::lock_guard lock(lock_);
    const bool nothing = incoming_.empty() && !stopped();
    sleeping_.store(nothing ? 1 : 0, std::memory_order_relaxed);
    return nothing;
}

// Whether the reader sleeps and must be notified. With the lock held.
bool EventQueue::wakes() {
    if (sleeping_.load(std::memory_order_relaxed) == 0) return false;
    sleeping_.store(0, std::memory_order_relaxed);
    return true;
}

void EventQueue::stop() {
    {
        const std::lock_guard lock(lock_);
        stopped_.store(true, std::memory_order_relaxed);
        sleeping_.store(0, std::memory_order_relaxed);
    }
    sleeping_.notify_one();
}

}  // namespace frame
