// Subscribers: lists of them that publishers walk without a lock, while others subscribe and unsubscribe.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "bus/door.h"
#include "bus/running.h"

namespace frame {

// The subscribers to one thing. All operations may be called from any thread.
//
// Places are never taken out of the list, only reused, so walking needs no protection; the door of each place
// protects the sink in it. Memory is bounded by the largest number of subscribers there ever were at once.
template <class Sink>
class Sinks {
public:
    // What a subscriber ends its subscription with.
    struct Ticket {
        Sinks* sinks;
        void* place;
        std::uint64_t life;

        void end() const { sinks->end(*static_cast<Place*>(place), life); }
    };

    Sinks() = default;
    ~Sinks() {
        for (Place* place = first_.load(); place != nullptr;) delete std::exchange(place, place->next);
    }
    Sinks(const Sinks&) = delete;
    Sinks& operator=(const Sinks&) = delete;

    // Calls `call(sink, door)` for every subscriber, on this thread, without a lock. The door is shut when the sink's
    // subscription was ended after `call` began; Running::depth(&door) is 2 or more when the call is inside another of
    // the same sink. `call` must not throw.
    template <class Call>
    void each(const Call& call) {
        eachOfOthers(nullptr, call);
    }

    // The same, but leaves out the subscribers of `owner`.
    template <class Call>
    void eachOfOthers(const void* owner, const Call& call) {
        for (Place* place = first_.load(std::memory_order_acquire); place != nullptr; place = place->next)
            if (owner == nullptr || place->owner.load(std::memory_order_relaxed) != owner) visit(*place, owner, call);
    }

    bool empty() const { return open_.load(std::memory_order_acquire) == 0; }

    // `owner`: for eachOfOthers and endOwned.
    Ticket add(std::unique_ptr<Sink> sink, const void* owner) {
        const std::lock_guard lock(mutex_);
        Place& place = freePlace();
        place.sink = std::move(sink);
        place.owner = owner;
        place.taken.store(true);
        place.door.open(*place.sink);
        ++open_;
        return {this, &place, place.life};
    }

    // Ends all subscriptions of `owner`.
    void endOwned(const void* owner) {
        std::vector<Ticket> tickets;
        {
            const std::lock_guard lock(mutex_);
            for (Place* place = first_.load(); place != nullptr; place = place->next)
                if (place->taken.load() && place->owner == owner) tickets.push_back({this, place, place->life});
        }
        for (const Ticket& ticket : tickets) ticket.end();
    }

private:
    // On a line of its own: the thread that walks one list must not slow down one that walks another.
    struct alignas(64) Place {
        Door<Sink> door;
        std::atomic<bool> taken{false};           // changed with the mutex held
        std::atomic<const void*> owner{nullptr};  // changes only while the door is shut, with the mutex held
        Place* next = nullptr;                    // never changes once the place is in the list
        // The rest is guarded by the mutex.
        std::unique_ptr<Sink> sink;
        std::uint64_t life = 0;  // counts the subscriptions that were here
        unsigned waiters = 0;    // threads that wait for the sink to return
    };

    template <class Call>
    void visit(Place& place, const void* leftOut, const Call& call) {
        // Another may have taken the place since its owner was looked at.
        if (auto sink = place.door.pin(); sink && (leftOut == nullptr || place.owner.load() != leftOut)) {
            const Running running(&place.door);
            call(*sink, std::as_const(place.door));
        }
        if (!place.door.isOpen() && place.taken.load()) sweep(place);
    }

    // After this returns the sink is not running, except on this thread, and will not be called by it again.
    void end(Place& place, std::uint64_t life) {
        if (!shut(place, life)) return;
        place.door.wait();
        std::unique_ptr<Sink> dead;
        const std::lock_guard lock(mutex_);
        if (--place.waiters == 0) dead = vacate(place);
    }

    // Whether the caller must wait for other threads and then vacate the place.
    bool shut(Place& place, std::uint64_t life) {
        const std::lock_guard lock(mutex_);
        if (place.life != life) return false;
        if (place.door.isOpen()) --open_;
        place.door.shut();
        if (Running::depth(&place.door) != 0) return false;  // the last thread to leave the sink sweeps
        ++place.waiters;
        return true;
    }

    // A subscription that was ended inside its own sink is cleared away by whoever leaves the sink last.
    void sweep(Place& place) {
        std::unique_ptr<Sink> dead;
        const std::lock_guard lock(mutex_);
        if (place.taken.load() && !place.door.isOpen() && place.door.idle() && place.waiters == 0) dead = vacate(place);
    }

    std::unique_ptr<Sink> vacate(Place& place) {
        ++place.life;
        place.taken.store(false);
        return std::move(place.sink);
    }

    Place& freePlace() {
        for (Place* place = first_.load(); place != nullptr; place = place->next)
            if (!place->taken.load()) return *place;
        auto* place = new Place;
        place->next = first_.load();
        first_.store(place, std::memory_order_release);
        return *place;
    }

    std::atomic<Place*> first_{nullptr};
    std::atomic<unsigned> open_{0};  // places with an open door; changed with the mutex held
    std::mutex mutex_;
};

// Subscribers by number. A number once subscribed to keeps its entry: numbers are the program's, not a sender's.
template <class Sink>
class SinkTable {
public:
    SinkTable() = default;
    ~SinkTable() {
        forEach([](Entry* entry) { delete entry; });
    }
    SinkTable(const SinkTable&) = delete;
    SinkTable& operator=(const SinkTable&) = delete;

    // Null when nobody has ever subscribed to `id`. Without a lock.
    Sinks<Sink>* find(unsigned long id) {
        Entry* entry = bucket(id).load(std::memory_order_acquire);
        while (entry != nullptr && entry->id != id) entry = entry->next;
        return entry != nullptr ? &entry->sinks : nullptr;
    }

    Sinks<Sink>& at(unsigned long id) {
        const std::lock_guard lock(mutex_);
        if (auto* sinks = find(id)) return *sinks;
        auto& head = bucket(id);
        auto* entry = new Entry{id, head.load(), {}};
        head.store(entry, std::memory_order_release);
        return entry->sinks;
    }

    void endOwned(const void* owner) {
        forEach([owner](Entry* entry) { entry->sinks.endOwned(owner); });
    }

private:
    struct Entry {
        unsigned long id;
        Entry* next;
        Sinks<Sink> sinks;
    };

    template <class Call>
    void forEach(const Call& call) {
        for (auto& head : buckets_)
            for (Entry* entry = head.load(std::memory_order_acquire); entry != nullptr;)
                call(std::exchange(entry, entry->next));
    }

    // The high bits of the product depend on all bits of the number.
    std::atomic<Entry*>& bucket(unsigned long id) {
        return buckets_[static_cast<std::size_t>(id * 0x9E3779B97F4A7C15U >> 56)];
    }

    std::array<std::atomic<Entry*>, 256> buckets_{};
    std::mutex mutex_;
};

}  // namespace frame
