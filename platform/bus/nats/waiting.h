// What came in and waits for its sink: bounded for each subscription.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace frame::nats {

struct Limits {
    std::size_t messages;
    std::size_t octets;
};

// The room that one subscription has.
class Room {
public:
    // A place in the room, while it lives.
    class Place {
    public:
        Place(std::shared_ptr<Room> room, std::size_t size) : room_(std::move(room)), size_(size) {
            ++room_->messages_;
            room_->octets_ += size_;
        }
        ~Place() {
            if (!room_) return;
            --room_->messages_;
            room_->octets_ -= size_;
        }
        Place(Place&&) = default;
        Place& operator=(Place&&) = delete;
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

    private:
        std::shared_ptr<Room> room_;
        std::size_t size_;
    };

    explicit Room(const Limits& limits) : limits_(limits) {}

    // A place for a message; nothing when the room is full. One message there is always room for. To be called by one
    // thread at a time.
    static std::optional<Place> enter(const std::shared_ptr<Room>& room, std::size_t size) {
        const bool fits = room->messages_ < room->limits_.messages && room->octets_ + size <= room->limits_.octets;
        if (!fits && room->messages_ != 0) return std::nullopt;
        return Place(room, size);
    }

    // How much is there.
    std::size_t messages() const { return messages_; }
    std::size_t octets() const { return octets_; }

private:
    const Limits limits_;
    std::atomic<std::size_t> messages_{0};
    std::atomic<std::size_t> octets_{0};
};

// The rooms of a process.
class Rooms {
public:
    explicit Rooms(const Limits& limits) : limits_(limits) {}

    std::shared_ptr<Room> make() {
        auto room = std::make_shared<Room>(limits_);
        const std::lock_guard lock(mutex_);
        std::erase_if(rooms_, [](const auto& old) { return old.expired(); });
        rooms_.push_back(room);
        return room;
    }
    // How much is in all of them together.
    Limits all() const {
        Limits sum{0, 0};
        const std::lock_guard lock(mutex_);
        for (const auto& weak : rooms_)
            if (const auto room = weak.lock()) {
                sum.messages += room->messages();
                sum.octets += room->octets();
            }
        return sum;
    }

private:
    const Limits limits_;
    mutable std::mutex mutex_;
    std::vector<std::weak_ptr<Room>> rooms_;
};

}  // namespace frame::nats
