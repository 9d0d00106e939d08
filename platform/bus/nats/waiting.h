// What came in and waits for its sink: bounded for each subscription.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace frame::nats {

struct Limits {
    std::size_t messages;
    std::size_t octets;
};

// How much waits, of one subscription or of all together.
struct Load {
    std::atomic<std::size_t> messages{0};
    std::atomic<std::size_t> octets{0};

    void add(std::size_t size) {
        ++messages;
        octets += size;
    }
    void remove(std::size_t size) {
        --messages;
        octets -= size;
    }
};

// The room that one subscription has.
class Room {
public:
    // A place in the room, while it lives.
    class Place {
    public:
        Place(std::shared_ptr<Room> room, std::size_t size) : room_(std::move(room)), size_(size) {
            room_->own_.add(size_);
            room_->all_->add(size_);
        }
        ~Place() {
            if (!room_) return;
            room_->own_.remove(size_);
            room_->all_->remove(size_);
        }
        Place(Place&&) = default;
        Place& operator=(Place&&) = delete;
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

    private:
        std::shared_ptr<Room> room_;
        std::size_t size_;
    };

    Room(const Limits& limits, std::shared_ptr<Load> all) : limits_(limits), all_(std::move(all)) {}

    // A place for a message; nothing when the room is full. One message there is always room for. To be called by one
    // thread at a time.
    static std::optional<Place> enter(const std::shared_ptr<Room>& room, std::size_t size) {
        const Load& own = room->own_;
        const bool fits = own.messages < room->limits_.messages && own.octets + size <= room->limits_.octets;
        if (!fits && own.messages != 0) return std::nullopt;
        return Place(room, size);
    }

private:
    const Limits limits_;
    const std::shared_ptr<Load> all_;
    Load own_;
};

}  // namespace frame::nats
