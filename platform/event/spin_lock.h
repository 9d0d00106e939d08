// A lock for a few instructions: taking it costs one atomic read-modify-write, and giving it back none.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace frame {

class SpinLock {
public:
    void lock() {
        for (int tries = 0; locked_.exchange(true, std::memory_order_acquire); ++tries) pause(tries);
    }
    void unlock() { locked_.store(false, std::memory_order_release); }

private:
    // A holder that was suspended must get on, even one of lower priority on this processor: so sleep in the end.
    static void pause(int tries) {
        if (tries < 100)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }

    std::atomic<bool> locked_{false};
};

}  // namespace frame
