// The timers of one manager's tasks, in the order in which they expire.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <utility>

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
    using Node = Schedule::node_type;

    // A timer that is not started: all that it needs of memory.
    static Node make(const Timer& timer) {
        Schedule schedule;
        return schedule.extract(schedule.emplace(TimerClock::time_point(), timer));
    }
    Position start(Node timer, TimerClock::time_point now) {
        timer.key() = now + timer.mapped().interval;
        return schedule_.insert(std::move(timer));
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
