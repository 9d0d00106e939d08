// The timers of one manager's tasks, in the order in which they expire.
#pragma once

#include <chrono>
#include <map>
#include <optional>

class TesuTask;

namespace frame {

using TimerClock = std::chrono::steady_clock;

inline constexpr std::chrono::milliseconds timerTick(100);

// Not for several threads at once.
class Timers {
public:
    struct Timer {
        TesuTask* task;
        long id;
        TimerClock::duration interval;
    };
    // Timers that expire at the same time do so in the order in which they were started.
    using Schedule = std::multimap<TimerClock::time_point, Timer>;
    using Position = Schedule::iterator;

    Position start(const Timer& timer, TimerClock::time_point now) {
        return schedule_.emplace(now + timer.interval, timer);
    }
    void stop(Position position) { schedule_.erase(position); }

    // When the next one expires.
    std::optional<TimerClock::time_point> next() const {
        if (schedule_.empty()) return std::nullopt;
        return schedule_.begin()->first;
    }
    // A timer that has expired by `now`: it goes on to its next expiry, which is after `now`, and has a new position.
    std::optional<Position> expire(TimerClock::time_point now) {
        if (schedule_.empty() || schedule_.begin()->first > now) return std::nullopt;
        auto node = schedule_.extract(schedule_.begin());
        const auto regular = node.key() + node.mapped().interval;
        node.key() = regular > now ? regular : now + node.mapped().interval;
        return schedule_.insert(std::move(node));
    }

private:
    Schedule schedule_;
};

}  // namespace frame
