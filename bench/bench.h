// The harness of the benchmarks: rows that set a figure of ours beside a peer's, taken in the same run.
//
// A file of benchmarks registers its rows before main runs and is listed in CMakeLists.txt:
//
//     const bool registered = bench::add({"NE event, 1 identifier, encode, ns", bench::timesFaster(10),
//                                         [](const bench::Run& run) {
//                                             return bench::alternate(run, bench::Clock::cpu, 1, [&] { ours(); },
//                                                                     [&] { peer(); });
//                                         }});
//
// Rows run one after another, each in a child process of its own; a row makes what it needs inside its function. An
// exception that leaves it breaks the run off.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

// How a run was asked for.
struct Run {
    bool quick = false;  // do everything once, briefly: nobody looks at the figures
};

// What a row found: two figures of the same unit, which the row's name tells.
struct Figures {
    double ours = 0;
    double peer = 0;
};

// How the ratio of a row is made, and what it must be for the row to hold.
struct Bound {
    enum class Ratio { oursToPeer, peerToOurs };
    enum class Kind { none, atLeast, atMost };
    Ratio ratio = Ratio::oursToPeer;
    Kind kind = Kind::none;
    double value = 0;

    double ratioOf(const Figures& figures) const;
    bool holds(double found) const;
    std::string text() const;  // ">= 10", "<= 1.5", "none"
};

// Figures are times; ours must be at least `times` as fast.
inline Bound timesFaster(double times) {
    return {Bound::Ratio::peerToOurs, Bound::Kind::atLeast, times};
}
// The row only informs: how many times as fast ours is, or how many times the peer's figure ours is.
inline Bound informsOfSpeed() {
    return {Bound::Ratio::peerToOurs, Bound::Kind::none, 0};
}
inline Bound informsOfTime() {
    return {Bound::Ratio::oursToPeer, Bound::Kind::none, 0};
}
// ours / peer must be at most, or at least, `value`: for times, counts, octets, rates.
inline Bound atMost(double value) {
    return {Bound::Ratio::oursToPeer, Bound::Kind::atMost, value};
}
inline Bound atLeast(double value) {
    return {Bound::Ratio::oursToPeer, Bound::Kind::atLeast, value};
}

// One line of the table.
struct Row {
    std::string name;  // what, how many, and the unit of the figures
    Bound bound;
    std::function<Figures(const Run&)> measure;
};

// Registers a row; returns true, so that it can stand before main in a constant.
bool add(Row row);
// All rows registered so far.
const std::vector<Row>& rows();

using Work = std::function<void()>;

// cpu: time that the calling thread computes, blind to what else the machine does. wall: time that passes; for work
// that waits or that other threads do.
enum class Clock { cpu, wall };
// Seconds on that clock, from some fixed moment.
double now(Clock clock);

// Nanoseconds an operation, ours and the peer's: each called as often as one repetition needs, by turns, medians of the
// repetitions. One call of `ours` or `peer` does `operations` operations.
Figures alternate(const Run& run, Clock clock, double operations, const Work& ours, const Work& peer);

// The same for one side alone.
double time(const Run& run, Clock clock, double operations, const Work& work);

double median(std::vector<double> values);

// Keeps the compiler from dropping the work that made `value`.
template <class T>
inline void keep(const T& value) {
    asm volatile("" : : "r,m"(&value) : "memory");
}

}  // namespace bench
