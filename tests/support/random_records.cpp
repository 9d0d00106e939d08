#include "support/random_records.h"

#include <array>
#include <iterator>
#include <limits>

namespace support {

std::int32_t RandomRecords::number() {
    static constexpr std::int32_t edges[] = {0,
                                             1,
                                             -1,
                                             127,
                                             128,
                                             -128,
                                             -129,
                                             255,
                                             256,
                                             32767,
                                             32768,
                                             -32768,
                                             -32769,
                                             8388607,
                                             8388608,
                                             -8388608,
                                             -8388609,
                                             std::numeric_limits<std::int32_t>::max(),
                                             std::numeric_limits<std::int32_t>::min()};
    if (below(3) == 0) return edges[below(std::size(edges))];
    return static_cast<std::int32_t>(engine_()) >> below(32);
}

std::string RandomRecords::octets() {
    static constexpr std::size_t edges[] = {0, 0, 1, 126, 127, 128, 255, 256, 65535, 65536};
    // The two long ones seldom, or they would be most of what is tested.
    const std::size_t edge = below(below(20) == 0 ? std::size(edges) : std::size(edges) - 2);
    const std::size_t length = below(4) == 0 ? edges[edge] : below(40);
    std::string made(length, '\0');
    for (char& octet : made) octet = static_cast<char>(engine_());
    return made;
}

std::size_t RandomRecords::listSize() {
    switch (below(8)) {
        case 0:
            return 0;
        case 1:
            return 1;
        case 2:
            return 30 + below(20);
        default:
            return below(8);
    }
}

void RandomRecords::fill(asn_frame::AsnFrameProcID& record) {
    fill(record.procType);
    fill(record.procHandle);
}

void RandomRecords::fill(asn_frame::AsnDevIDListOfNEMgr& record) {
    const unsigned present = combination_++;
    fill(*record.srcProcID);
    fill(record.devIDList);
    fill(record.ownerType);
    if (present & 1) record.procState = new AsnInt(number());
    if (present & 2) fill(record.SnkProcID());
    if (present & 4) record.server = new AsnOcts(octets());
}

void RandomRecords::fill(asn_frame::AsnFrameNodeIP& record) {
    fill(record.nmsIP);
    if (combination_++ & 1) record.natIP = new AsnOcts(octets());
}

void RandomRecords::fill(asn_frame::AsnFrameGetNodeIPResponse& record) {
    fill(record.result);
    fill(record.nodeIPList);
}

void RandomRecords::fill(AsnPnpFile& record) {
    fill(record.fileName);
    fill(record.fileLen);
    if (combination_++ & 1) record.fileContent = new AsnOcts(octets());
}

void RandomRecords::fill(AsnClientGetPnpRsp& record) {
    fill(record.iResult);
    fill(record.packageSum);
    fill(record.pnpFileList);
}

}  // namespace support
