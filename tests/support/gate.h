// A point that threads of a test wait at.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace support {

// Shut until it is opened, then open for ever.
class Gate {
public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        opened_.notify_all();
    }

    // False when it is not opened in time.
    [[nodiscard]] bool pass(std::chrono::seconds timeout = std::chrono::seconds(30)) {
        std::unique_lock lock(mutex_);
        return opened_.wait_for(lock, timeout, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
};

}  // namespace support
