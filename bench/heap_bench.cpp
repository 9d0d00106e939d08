// What decoded records do to the heap and the heap to them: memory of a decoded list, speed on a heap that has aged,
// growth with the number of elements.
#include <malloc.h>

#include <algorithm>
#include <stdexcept>

#include "api/records/peers/asn1c.h"
#include "bench.h"
#include "platform/payload.h"
#include "samples.h"

namespace {

using asn_frame::AsnDevIDListOfNEMgr;
using asn_frame::AsnFrameGetNodeIPResponse;
using bench::Figures;
using bench::Run;

template <class T>
void decode(const frame::Payload& octets, T& into) {
    if (!frame::decode(octets.view(), into).ok) throw std::runtime_error("our codec refuses its own octets");
}

// Octets in use on the heap, the heap's own headers included.
double heapInUse() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

constexpr std::size_t elements = 10'000;

template <class T>
double octetsAnElement(const frame::Payload& octets) {
    const double before = heapInUse();
    T record;
    decode(octets, record);
    return (heapInUse() - before) / static_cast<double>(elements);
}

template <class T>
double asn1cOctetsAnElement(const frame::Payload& octets) {
    const double before = heapInUse();
    const auto record = asn1c::decode<T>(octets.view());
    return (heapInUse() - before) / static_cast<double>(elements);
}

template <class T>
bool memoryRows(const char* name, T (*make)(std::size_t), double limit) {
    return bench::add({std::string("memory of ") + name + ", octets; peer: the limit", bench::atMost(1),
                       [=](const Run&) {
                           return Figures{octetsAnElement<T>(frame::encode(make(elements))), limit};
                       }}) &&
           bench::add(
               {std::string("memory of ") + name + ", octets; peer: asn1c", bench::informsOfTime(), [=](const Run&) {
                    const frame::Payload octets = frame::encode(make(elements));
                    return Figures{octetsAnElement<T>(octets), asn1cOctetsAnElement<T>(octets)};
                }});
}

// Leaves the heap as a process does that has run for long: full of holes of all small sizes, in no order.
class AgedHeap {
public:
    explicit AgedHeap(std::size_t blocks) {
        samples::Random random;
        blocks_.resize(blocks);
        for (char*& block : blocks_) block = new char[16 + 8 * random.below(16)];
        std::shuffle(blocks_.begin(), blocks_.end(), std::mt19937_64(2));
        // Every sixteenth stays, so that holes do not melt together again.
        for (std::size_t i = 0; i < blocks; ++i) {
            if (i % 16 != 0) delete[] std::exchange(blocks_[i], nullptr);
        }
    }
    ~AgedHeap() {
        for (const char* block : blocks_) delete[] block;
    }
    AgedHeap(const AgedHeap&) = delete;
    AgedHeap& operator=(const AgedHeap&) = delete;

private:
    std::vector<char*> blocks_;
};

using Time = double (*)(const Run& run, const AsnFrameGetNodeIPResponse& record);

double encodeTime(const Run& run, const AsnFrameGetNodeIPResponse& record) {
    return bench::time(run, bench::Clock::cpu, elements, [&] { bench::keep(frame::encode(record)); });
}

double decodeTime(const Run& run, const AsnFrameGetNodeIPResponse& record) {
    const frame::Payload octets = frame::encode(record);
    return bench::time(run, bench::Clock::cpu, elements, [&] {
        AsnFrameGetNodeIPResponse decoded;
        decode(octets, decoded);
    });
}

// The record itself is also made anew by decoding: that is where encoding meets it.
Figures agedBesideFresh(const Run& run, Time time) {
    const frame::Payload octets = frame::encode(samples::nodeResponse(elements));
    const auto timeOfDecoded = [&] {
        AsnFrameGetNodeIPResponse record;
        decode(octets, record);
        return time(run, record);
    };
    const double fresh = timeOfDecoded();
    const AgedHeap aged(run.quick ? 100'000 : 4'000'000);
    return {timeOfDecoded(), fresh};
}

constexpr std::size_t few = 1'000;
constexpr std::size_t many = 1'000'000;

Figures growthOfEncoding(const Run& run) {
    const auto small = samples::neEvent(few);
    const auto large = samples::neEvent(many);
    const Figures times = bench::alternate(
        run, bench::Clock::cpu, 1, [&] { bench::keep(frame::encode(large)); },
        [&] { bench::keep(frame::encode(small)); });
    return {times.ours / many, times.peer / few};
}

Figures growthOfDecoding(const Run& run) {
    const frame::Payload small = frame::encode(samples::neEvent(few));
    const frame::Payload large = frame::encode(samples::neEvent(many));
    const auto decoding = [](const frame::Payload& octets) {
        return [&octets] {
            AsnDevIDListOfNEMgr event;
            decode(octets, event);
        };
    };
    const Figures times = bench::alternate(run, bench::Clock::cpu, 1, decoding(large), decoding(small));
    return {times.ours / many, times.peer / few};
}

const bool registered =
    memoryRows("a decoded identifier", samples::neEvent, 64) &&
    memoryRows("a decoded node", samples::nodeResponse, 160) &&
    bench::add({"node addresses, 10,000 nodes: encode, ns a node; on an aged heap, peer: fresh heap",
                bench::atMost(1.5), [](const Run& run) { return agedBesideFresh(run, encodeTime); }}) &&
    bench::add({"node addresses, 10,000 nodes: decode, ns a node; on an aged heap, peer: fresh heap",
                bench::atMost(1.5), [](const Run& run) { return agedBesideFresh(run, decodeTime); }}) &&
    bench::add({"NE event, 1,000,000 identifiers: encode, ns an element; peer: ours of 1,000", bench::atMost(2),
                growthOfEncoding}) &&
    bench::add({"NE event, 1,000,000 identifiers: decode, ns an element; peer: ours of 1,000", bench::atMost(2),
                growthOfDecoding});

}  // namespace
