// How long tests wait for what must come.
#pragma once

#include <chrono>
#include <thread>

namespace support {

inline constexpr std::chrono::seconds patience{60};

// Asks whether `condition` holds until it does; false when it does not in time.
template <class Condition>
[[nodiscard]] bool eventually(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace support
