// Our codec beside asn1c's for the same octets, beside libtasn1's, and beside one written by hand. Decoding includes
// destroying what was decoded; encoding gives octets that follow each other in memory, on all sides.
#include <stdexcept>

#include "api/records/peers/asn1c.h"
#include "api/records/peers/libtasn1.h"
#include "bench.h"
#include "handwritten.h"
#include "platform/payload.h"
#include "samples.h"

namespace {

using asn_frame::AsnDevIDListOfNEMgr;
using asn_frame::AsnFrameGetNodeIPResponse;
using bench::Figures;
using bench::Run;
using bench::Work;

// One record, encoded.
template <class T>
class Sample {
public:
    Sample(T record, std::size_t operations)
        : operations_(static_cast<double>(operations)), record_(std::move(record)), payload_(frame::encode(record_)) {}

    std::string_view octets() const { return payload_.view(); }
    void encode() const { bench::keep(frame::encode(record_)); }
    void decode() const {
        T record;
        if (!frame::decode(octets(), record).ok) throw std::runtime_error("our codec refuses its own octets");
        bench::keep(record);
    }
    Figures encodeBeside(const Run& run, const Work& peer) const {
        return bench::alternate(
            run, bench::Clock::cpu, operations_, [this] { encode(); }, peer);
    }
    Figures decodeBeside(const Run& run, const Work& peer) const {
        return bench::alternate(
            run, bench::Clock::cpu, operations_, [this] { decode(); }, peer);
    }

private:
    double operations_;
    T record_;
    frame::Payload payload_;
};

// asn1c is told beforehand how many octets there will be.
template <class T>
Figures encodeBesideAsn1c(const Run& run, const Sample<T>& sample) {
    const auto theirs = asn1c::decode<T>(sample.octets());
    const std::size_t size = sample.octets().size();
    return sample.encodeBeside(run, [&] {
        const std::unique_ptr<char[]> octets(new char[size]);
        asn1c::der_encode_to_buffer(asn1c::Peer<T>::type(), theirs.get(), octets.get(), size);
        bench::keep(octets);
    });
}

template <class T>
Figures decodeBesideAsn1c(const Run& run, const Sample<T>& sample) {
    return sample.decodeBeside(run, [&] {
        if (!asn1c::decode<T>(sample.octets())) throw std::runtime_error("asn1c refuses our octets");
    });
}

template <class T>
bool besideAsn1c(const std::string& name, T (*make)(std::size_t), std::size_t size, double encodeTimes,
                 double decodeTimes) {
    return bench::add({name + ": encode, ns an element; peer: asn1c", bench::timesFaster(encodeTimes),
                       [=](const Run& run) { return encodeBesideAsn1c(run, Sample<T>(make(size), size)); }}) &&
           bench::add({name + ": decode, ns an element; peer: asn1c", bench::timesFaster(decodeTimes),
                       [=](const Run& run) { return decodeBesideAsn1c(run, Sample<T>(make(size), size)); }});
}

// `Theirs` is handwritten's structure of the record, `read` what decodes it.
template <class T, class Theirs>
bool besideHandwritten(const std::string& name, T (*make)(std::size_t), std::size_t size,
                       Theirs (*read)(std::string_view), bench::Bound bound) {
    return bench::add({name + ": encode, ns an element; peer: by hand", bound,
                       [=](const Run& run) {
                           const Sample<T> sample(make(size), size);
                           const Theirs theirs = read(sample.octets());
                           if (handwritten::encode(theirs).view() != sample.octets())
                               throw std::runtime_error("the hand-written codec writes other octets");
                           return sample.encodeBeside(run, [&] { bench::keep(handwritten::encode(theirs)); });
                       }}) &&
           bench::add({name + ": decode, ns an element; peer: by hand", bound, [=](const Run& run) {
                           const Sample<T> sample(make(size), size);
                           return sample.decodeBeside(run, [&] { bench::keep(read(sample.octets())); });
                       }});
}

// libtasn1 has its values in a tree that it searches from the front, so it is compared at a small size only.
Figures decodeBesideLibtasn1(const Run& run) {
    const Sample<AsnDevIDListOfNEMgr> sample(samples::neEvent(100), 100);
    return sample.decodeBeside(run, [&] {
        libtasn1::Value theirs("AsnDevIDListOfNEMgr");
        if (!theirs.decode(sample.octets())) throw std::runtime_error("libtasn1 refuses our octets");
    });
}

Figures encodeBesideLibtasn1(const Run& run) {
    const Sample<AsnDevIDListOfNEMgr> sample(samples::neEvent(100), 100);
    libtasn1::Value theirs("AsnDevIDListOfNEMgr");
    if (!theirs.decode(sample.octets())) throw std::runtime_error("libtasn1 refuses our octets");
    return sample.encodeBeside(run, [&] { bench::keep(theirs.encode()); });
}

AsnClientGetPnpRsp filesOf64KiB(std::size_t files) {
    return samples::pnpResponse(static_cast<int>(files), 65536);
}

const bool registered = besideAsn1c("NE event, 1 identifier", samples::neEvent, 1, 10, 3) &&
                        besideAsn1c("NE event, 10,000 identifiers", samples::neEvent, 10'000, 15, 6) &&
                        besideAsn1c("NE event, 100,000 identifiers", samples::neEvent, 100'000, 15, 6) &&
                        besideAsn1c("node addresses, 10,000 nodes", samples::nodeResponse, 10'000, 12, 6) &&
                        besideHandwritten("NE event, 10,000 identifiers", samples::neEvent, 10'000,
                                          handwritten::decodeNeEvent, bench::informsOfTime()) &&
                        besideHandwritten("node addresses, 10,000 nodes", samples::nodeResponse, 10'000,
                                          handwritten::decodeNodeResponse, bench::informsOfTime()) &&
                        besideHandwritten("PnP response, 50 files of 64 KiB", filesOf64KiB, 50,
                                          handwritten::decodePnpResponse, bench::atMost(1.25)) &&
                        bench::add({"NE event, 100 identifiers: encode, ns an element; peer: libtasn1",
                                    bench::informsOfSpeed(), encodeBesideLibtasn1}) &&
                        bench::add({"NE event, 100 identifiers: decode, ns an element; peer: libtasn1",
                                    bench::informsOfSpeed(), decodeBesideLibtasn1});

}  // namespace
