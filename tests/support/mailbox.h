// What handlers on other threads hand to a test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace support {

template <class T>
class Mailbox {
public:
    void put(T value) {
        const std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        arrived_.notify_all();
    }

    // The oldest value not yet taken; empty when none comes in time.
    [[nodiscard]] std::optional<T> take(std::chrono::seconds timeout = std::chrono::seconds(30)) {
        std::unique_lock lock(mutex_);
        if (!arrived_.wait_for(lock, timeout, [this] { return !values_.empty(); })) return std::nullopt;
        T value = std::move(values_.front());
        values_.pop_front();
        return value;
    }

    bool empty() const {
        const std::lock_guard lock(mutex_);
        return values_.empty();
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<T> values_;
};

}  // namespace support
