// When to try again.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace frame {

// Delays that double from 50 ms to 5 s, each cut by up to half at random so that many do not try in step.
class Backoff {
public:
    using Clock = std::chrono::steady_clock;

    // It failed now: due() moves on.
    void fail(std::minstd_rand& random) {
        delay_ = std::clamp(2 * delay_, shortest, longest);
        const auto cut = std::uniform_int_distribution<std::int64_t>(0, delay_.count() / 2)(random);
        due_ = Clock::now() + delay_ - std::chrono::milliseconds(cut);
    }
    Clock::time_point due() const { return due_; }

private:
    static constexpr std::chrono::milliseconds shortest{50};
    static constexpr std::chrono::milliseconds longest{5000};

    std::chrono::milliseconds delay_{0};
    Clock::time_point due_{};
};

// Something that did not work and is tried again.
struct Obstacle {
    Backoff backoff;
    bool untilChange = false;   // no use trying before the bus says that something changed
    std::uint64_t changes = 0;  // how many changes there were when it was met
};

}  // namespace frame
