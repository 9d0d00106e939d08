// Timing by turns, and what a bound says of the figures.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "bench.h"

namespace bench {

namespace {

constexpr double secondsARepetition = 0.02;

int repetitions(const Run& run) {
    return run.quick ? 1 : 15;
}

double secondsFor(Clock clock, const Work& work, long calls) {
    const double begin = now(clock);
    for (long i = 0; i < calls; ++i) work();
    return now(clock) - begin;
}

// How many calls fill one repetition. What runs while this is found out also warms caches and allocators.
long callsNeeded(Clock clock, const Work& work) {
    long calls = 1;
    for (;;) {
        const double seconds = secondsFor(clock, work, calls);
        if (seconds >= secondsARepetition) return calls;
        const double factor = seconds > 0 ? 1.2 * secondsARepetition / seconds : 10;
        calls = static_cast<long>(std::ceil(static_cast<double>(calls) * std::clamp(factor, 1.1, 10.0)));
    }
}

// One side of a comparison.
class Repeated {
public:
    Repeated(const Run& run, Clock clock, const Work& work)
        : clock_(clock), work_(work), calls_(run.quick ? 1 : callsNeeded(clock, work)) {}

    void once() { seconds_.push_back(secondsFor(clock_, work_, calls_) / static_cast<double>(calls_)); }
    // Of one call, the median.
    double nanoseconds() const { return median(seconds_) * 1e9; }

private:
    Clock clock_;
    const Work& work_;
    long calls_;
    std::vector<double> seconds_;
};

std::vector<Row>& registry() {
    static std::vector<Row> all;
    return all;
}

}  // namespace

bool add(Row row) {
    registry().push_back(std::move(row));
    return true;
}

const std::vector<Row>& rows() {
    return registry();
}

double now(Clock clock) {
    timespec time{};
    clock_gettime(clock == Clock::cpu ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

Figures alternate(const Run& run, Clock clock, double operations, const Work& ours, const Work& peer) {
    Repeated oursRepeated(run, clock, ours);
    Repeated peerRepeated(run, clock, peer);
    for (int i = 0; i < repetitions(run); ++i) {
        oursRepeated.once();
        peerRepeated.once();
    }
    return {oursRepeated.nanoseconds() / operations, peerRepeated.nanoseconds() / operations};
}

double time(const Run& run, Clock clock, double operations, const Work& work) {
    Repeated repeated(run, clock, work);
    for (int i = 0; i < repetitions(run); ++i) repeated.once();
    return repeated.nanoseconds() / operations;
}

double Bound::ratioOf(const Figures& figures) const {
    return ratio == Ratio::oursToPeer ? figures.ours / figures.peer : figures.peer / figures.ours;
}

bool Bound::holds(double found) const {
    switch (kind) {
        case Kind::atLeast:
            return found >= value;
        case Kind::atMost:
            return found <= value;
        case Kind::none:
            break;
    }
    return true;
}

std::string Bound::text() const {
    if (kind == Kind::none) return "none";
    char text[32];
    std::snprintf(text, sizeof text, "%s %g", kind == Kind::atLeast ? ">=" : "<=", value);
    return text;
}

}  // namespace bench
