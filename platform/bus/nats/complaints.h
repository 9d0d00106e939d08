// Log lines about what others do: so many, and not more.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace frame::nats {

// Writes error records, at most `burst` of them at once and then one a second. The next one tells how many were left
// out.
class Complaints {
public:
    void write(const std::string& text);
    std::uint64_t count() const;

private:
    using Clock = std::chrono::steady_clock;
    static constexpr double burst = 20;

    // Whether there may be a line now; `leftOut`: how many there were none for.
    bool allowed(std::uint64_t& leftOut);

    mutable std::mutex mutex_;
    double lines_ = burst;
    Clock::time_point filled_ = Clock::now();
    std::uint64_t leftOut_ = 0;
    std::uint64_t count_ = 0;
};

}  // namespace frame::nats
