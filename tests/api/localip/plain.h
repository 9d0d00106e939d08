// The subsystem's quick paths, written plainly: what they must agree with, and what they are measured beside.
#pragma once

#include <arpa/inet.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "localip/nms_lookup.h"

namespace plain {

inline std::uint32_t hostOrderAddress(const std::string& text) {
    return ntohl(inet_addr(text.c_str()));
}

// Without a log text when `log` is null.
inline void matchTable(const std::vector<NEC::NatInfo>& table, const std::string& remoteIp,
                       asn_frame::AsnFrameGetNodeIPResponse& response, std::string* log) {
    response.nodeIPList.Clear();
    const std::uint32_t address = hostOrderAddress(remoteIp);
    for (const NEC::NatInfo& row : table) {
        const std::uint32_t beginIP = hostOrderAddress(row.beginIP);
        const std::uint32_t endIP = hostOrderAddress(row.endIP);
        if (log != nullptr) {
            std::array<char, 128> line{};
            std::snprintf(line.data(), line.size(), "[GetLocalIpRspFromDB] ulRemoteIp=%d, beginIP=%d, endIP=%d\n",
                          static_cast<int>(address), static_cast<int>(beginIP), static_cast<int>(endIP));
            *log += line.data();
        }
        if (address < beginIP || address > endIP) continue;
        asn_frame::AsnFrameNodeIP* node = response.nodeIPList.Append();
        if (!row.natIP.empty()) node->natIP = new AsnOcts(row.natIP);
        node->nmsIP = row.nmsIP;
    }
    response.result = 0;
}

// False for an empty field before a dot where that is checked, and for a fifth field.
inline bool parseQuad(const std::string& text, bool emptyFieldIsMalformed, std::array<int, 4>& octets) {
    std::size_t start = 0;
    std::size_t field = 0;
    for (std::size_t dot = text.find('.'); dot != std::string::npos; dot = text.find('.', start)) {
        if (emptyFieldIsMalformed && dot == start) return false;
        const int value = std::stoi(text.substr(start));
        if (field == octets.size()) return false;
        octets[field++] = value;
        start = dot + 1;
    }
    const int value = std::stoi(text.substr(start));
    if (field == octets.size()) return false;
    octets[field] = value;
    return true;
}

inline int isSameSub(const std::string& targetNetwork, const std::string& ip, const std::string& mask) {
    std::array<int, 4> target{};
    std::array<int, 4> address{};
    std::array<int, 4> bits{};
    if (!parseQuad(mask, true, bits)) return 1;
    if (!parseQuad(targetNetwork, true, target)) return 1;
    if (!parseQuad(ip, false, address)) return 1;
    for (std::size_t i = 0; i < 4; ++i) {
        if (target[i] > 255 || address[i] > 255) return 1;
        if (target[i] != (address[i] & bits[i])) return 2;
    }
    return 0;
}

// What a subnet test gives, exceptions included: "0", "invalid_argument", ...
template <class Test>
std::string outcome(Test test, const std::string& targetNetwork, const std::string& ip, const std::string& mask) {
    try {
        return std::to_string(test(targetNetwork, ip, mask));
    } catch (const std::invalid_argument&) {
        return "invalid_argument";
    } catch (const std::out_of_range&) {
        return "out_of_range";
    }
}

}  // namespace plain
