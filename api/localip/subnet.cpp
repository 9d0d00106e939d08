#include "localip/subnet.h"

#include <algorithm>
#include <array>

#include "localip/virtual_address.h"
#include "platform/log.h"

namespace NEC {

namespace {

using Octets = std::array<int, 4>;

enum class EmptyField { malformed, throws };

// The leading number of `text` from `start` on, as std::stoi reads it, and where it ends: by ourselves when it is a few
// plain digits.
int leadingNumber(const std::string& text, std::size_t start, std::size_t& end) {
    constexpr std::size_t fitsAnyway = 9;  // so many digits are an int, whatever they are
    int value = 0;
    for (end = start; end < text.size() && text[end] >= '0' && text[end] <= '9'; ++end) {
        if (end - start == fitsAnyway) return std::stoi(text.substr(start));
        value = value * 10 + (text[end] - '0');
    }
    return end != start ? value : std::stoi(text.substr(start));
}

// Fills the first of `octets` with the fields of `text`; false when it is malformed.
bool parse(const std::string& text, EmptyField emptyField, Octets& octets) {
    std::size_t start = 0;
    for (std::size_t field = 0;; ++field) {
        if (emptyField == EmptyField::malformed && start < text.size() && text[start] == '.') return false;
        std::size_t end = start;
        const int value = leadingNumber(text, start, end);
        if (field == octets.size()) return false;
        octets[field] = value;
        const std::size_t dot = text.find('.', end);
        if (dot == std::string::npos) return true;
        start = dot + 1;
    }
}

// The default, and what virtual addresses say against it.
constexpr LvsTexts lvsTexts{
    "[GetIntersectIp] no support or no found LVS, errCode = %d, %d",
    "[GetIntersectIp] is same sub, vip = %s, mask = %s, target = %s",
    "[GetIntersectIp] diff sub, vip = %s, mask = %s, target = %s",
};

void chooseWithoutNat(std::string& localIp, const std::string& remoteIp, const std::string& firstSouthIp) {
    localIp = firstSouthIp;
    FrameUtil::Trace("asnNodeIP is empty use:%s", localIp.c_str());
    replaceByVirtualAddress(localIp, &remoteIp, lvsTexts);
}

void chooseByNat(std::string& localIp, const std::vector<std::string>& southIps, asn_frame::AsnFrameNodeIPList& nodes) {
    const auto answers = [&](const std::string& southIp) { return GetNmsIPOrNATIP(localIp, southIp, nodes) == 0; };
    if (std::any_of(southIps.begin(), southIps.end(), answers)) return;
    localIp = southIps.front();
    FrameUtil::Trace("failed to get localip from GetNmsIPOrNATIP use:%s", localIp.c_str());
}

}  // namespace

int IsSameSub(const std::string& targetNetwork, const std::string& ip, const std::string& mask) {
    Octets target{};
    Octets address{};
    Octets bits{};
    if (!parse(mask, EmptyField::malformed, bits) || !parse(targetNetwork, EmptyField::malformed, target) ||
        !parse(ip, EmptyField::throws, address)) {
        return 1;
    }
    for (std::size_t i = 0; i < target.size(); ++i) {
        if (target[i] > 255 || address[i] > 255) return 1;
        if (target[i] != (address[i] & bits[i])) return 2;
    }
    return 0;
}

int GetIntersectIp(std::string& localIp, const std::string& remoteIp, const std::vector<std::string>& southIps,
                   const std::vector<NatInfo>& natTable) {
    asn_frame::AsnFrameGetNodeIPResponse response;
    GetOneLocalIpRspFromIpTable(natTable, remoteIp, response);
    if (southIps.empty()) {
        FrameUtil::Trace("0 == vecSouthIP.size()");
    } else if (response.nodeIPList.count == 0) {
        chooseWithoutNat(localIp, remoteIp, southIps.front());
    } else {
        chooseByNat(localIp, southIps, response.nodeIPList);
    }
    return 0;
}

}  // namespace NEC
