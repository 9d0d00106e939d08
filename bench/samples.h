// The records that the codec benchmarks encode and decode: realistic values, the same in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "nec/records.h"

namespace samples {

class Random {
public:
    // An NE's identifier: of one to four octets, longer ones more often.
    std::int32_t identifier() { return static_cast<std::int32_t>(engine_() >> 33) >> below(24); }
    std::string address() {
        return "10." + std::to_string(below(256)) + '.' + std::to_string(below(256)) + '.' + std::to_string(below(256));
    }
    std::uint64_t below(std::uint64_t limit) {
        return std::uniform_int_distribution<std::uint64_t>(0, limit - 1)(engine_);
    }

private:
    std::mt19937_64 engine_{1};
};

// As NotifyNETransfer announces it.
inline asn_frame::AsnDevIDListOfNEMgr neEvent(std::size_t identifiers) {
    Random random;
    asn_frame::AsnDevIDListOfNEMgr event;
    event.srcProcID->procType = 3001;
    event.srcProcID->procHandle = 7;
    event.SnkProcID().procType = 3001;
    event.SnkProcID().procHandle = 12;
    for (; identifiers != 0; --identifiers) event.devIDList.Append(AsnInt(random.identifier()));
    return event;
}

// Every node has both addresses.
inline asn_frame::AsnFrameGetNodeIPResponse nodeResponse(std::size_t nodes) {
    Random random;
    asn_frame::AsnFrameGetNodeIPResponse response;
    for (; nodes != 0; --nodes) {
        asn_frame::AsnFrameNodeIP& node = *response.nodeIPList.Append();
        node.nmsIP = random.address();
        node.natIP = new AsnOcts(random.address());
    }
    return response;
}

inline AsnClientGetPnpRsp pnpResponse(int files, std::size_t octetsEach) {
    Random random;
    AsnClientGetPnpRsp response;
    response.packageSum = 1;
    for (int i = 0; i < files; ++i) {
        AsnPnpFile& file = *response.pnpFileList.Append();
        file.fileName = "pnp/equipment/" + std::to_string(i) + ".xml";
        file.fileLen = static_cast<std::int32_t>(octetsEach);
        std::string content(octetsEach, '\0');
        for (char& octet : content) octet = static_cast<char>(random.below(256));
        file.fileContent = new AsnOcts(content);
    }
    return response;
}

}  // namespace samples
