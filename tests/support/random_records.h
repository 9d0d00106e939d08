// Random records: the same seed gives the same records.
#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "nec/records.h"

namespace support {

// Fills records with values that like to be at the edges: numbers where the number of octets changes, empty texts,
// texts and lists around the lengths where the length octets change. Combinations of optional fields come in turn, so
// that a few records of one type show them all.
class RandomRecords {
public:
    explicit RandomRecords(std::uint64_t seed) : engine_(seed) {}

    std::int32_t number();
    std::string octets();

    // Each fills a record that was just made.
    void fill(AsnInt& value) { value = number(); }
    void fill(AsnOcts& value) { value = octets(); }
    void fill(asn_frame::AsnFrameProcID& record);
    void fill(asn_frame::AsnDevIDListOfNEMgr& record);
    void fill(asn_frame::AsnFrameNodeIP& record);
    void fill(asn_frame::AsnFrameGetNodeIPResponse& record);
    void fill(AsnPnpFile& record);
    void fill(AsnClientGetPnpRsp& record);
    template <class T>
    void fill(AsnSeqOf<T>& list) {
        for (std::size_t left = listSize(); left > 0; --left) fill(*list.Append());
    }

private:
    std::size_t listSize();
    std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_); }

    std::mt19937_64 engine_;
    unsigned combination_ = 0;
};

}  // namespace support
