// The command messages that wait for a manager's thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

#include "platform/payload.h"

namespace frame {

// Not for several threads at once.
class MessageQueue {
public:
    static constexpr std::size_t capacity = 65536;           // messages that wait
    static constexpr std::size_t octetCapacity = 64U << 20;  // their octets

    // False when it does not fit; that is counted.
    bool push(const Payload& message) {
        if (messages_.size() == capacity || message.size() > octetCapacity - octets_) {
            ++refused_;
            return false;
        }
        messages_.push_back(message);
        octets_ += message.size();
        return true;
    }
    bool empty() const { return messages_.empty(); }
    // The oldest one; not from an empty queue.
    Payload pop() {
        Payload message = std::move(messages_.front());
        messages_.pop_front();
        octets_ -= message.size();
        return message;
    }
    // How many were refused since the last call.
    std::uint64_t takeRefused() { return std::exchange(refused_, 0); }

private:
    std::deque<Payload> messages_;
    std::size_t octets_ = 0;
    std::uint64_t refused_ = 0;
};

}  // namespace frame
