#include "localip/nms_lookup.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "localip/address.h"
#include "platform/bus.h"
#include "support/location.h"

namespace NEC {

namespace {

using asn_frame::AsnFrameNodeIP;

constexpr std::uint16_t managementCentre = 3001;
constexpr unsigned long nodeIpRequest = 0xB0000F;
constexpr int timeoutSeconds = 60;
constexpr int noTableFile = 100;

// The log text of a table match, a line for each row. Its numbers are signed, whatever the addresses.
class MatchLog {
public:
    explicit MatchLog(std::uint32_t remoteIp)
        : wanted_(LogProcess::infoEnabled()),
          head_("[GetLocalIpRspFromDB] ulRemoteIp=" + std::to_string(static_cast<std::int32_t>(remoteIp)) +
                ", beginIP=") {}

    void row(std::uint32_t beginIP, std::uint32_t endIP) {
        if (!wanted_) return;
        std::array<char, 128> line;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled as far as it is read
        char* at = put(line.data(), head_);
        at = put(at, beginIP);
        at = put(at, ", endIP=");
        at = put(at, endIP);
        *at++ = '\n';
        text_.append(line.data(), static_cast<std::size_t>(at - line.data()));
    }

    void write() const {
        if (wanted_) LogProcess::Info(text_, here("GetOneLocalIpRspFromIpTable"));
    }

private:
    static char* put(char* at, std::string_view text) {
        std::memcpy(at, text.data(), text.size());
        return at + text.size();
    }
    static char* put(char* at, std::uint32_t number) {
        constexpr std::size_t longest = 11;
        return std::to_chars(at, at + longest, static_cast<std::int32_t>(number)).ptr;
    }

    bool wanted_;
    std::string head_;
    std::string text_;
};

void fill(AsnFrameNodeIP& node, const NatInfo& row) {
    if (!row.natIP.empty()) {
        FrameUtil::Trace("[GetLocalIpRspFromDB] NAT IP is %s", row.natIP.c_str());
        node.natIP = new AsnOcts(row.natIP);
    }
    if (!row.nmsIP.empty()) {
        FrameUtil::Trace("[GetLocalIpRspFromDB] NMS IP is %s", row.nmsIP.c_str());
        node.nmsIP = row.nmsIP;
    }
}

// The first node whose NMS address is `southIp`, or null. Adds a line for each node looked at to `log`.
const AsnFrameNodeIP* findNode(const asn_frame::AsnFrameNodeIPList& nodes, std::string_view southIp, std::string& log) {
    for (const auto* node = nodes.first; node != nullptr && node->element != nullptr; node = node->next) {
        const std::string_view nmsIP = node->element->nmsIP.view();
        log.append("[GetNmsIPOrNATIP] nmsIP is ").append(nmsIP).append("\n");
        if (nmsIP == southIp) return node->element;
    }
    return nullptr;
}

}  // namespace

int GetNmsIPByNEIPFromMC(asn_frame::AsnFrameGetNodeIPResponse& response, const char* neIP) {
    if (neIP == nullptr) {
        FrameUtil::Trace("[GetNmsIPByNEIPFromMC] neIP is NULL");
        return -1;
    }
    asn_frame::AsnOctsList request;
    request.Append(AsnOcts(neIP));
    FrameUtil::SMsgTarget target;
    target.procType = managementCentre;
    const int code = FrameUtil::SynSendMsg(target, nodeIpRequest, request, &response, timeoutSeconds);
    if (code != 0) {
        FrameUtil::Trace("[GetNmsIPByNEIPFromMC] send message to MC failure, iRet = %d", code);
        return code;
    }
    const int result = response.result;
    if (result != noTableFile) return result;
    FrameUtil::Trace("[GetNmsIPByNEIPFromMC] Configuration file iptable_ne2nms.cfg is not exist, iResult = %d", result);
    return 0;
}

void GetOneLocalIpRspFromIpTable(const std::vector<NatInfo>& table, const std::string& remoteIp,
                                 asn_frame::AsnFrameGetNodeIPResponse& response) {
    response.nodeIPList.Clear();
    const std::uint32_t address = hostOrderAddress(remoteIp);
    MatchLog log(address);
    for (const NatInfo& row : table) {
        const std::uint32_t beginIP = hostOrderAddress(row.beginIP);
        const std::uint32_t endIP = hostOrderAddress(row.endIP);
        log.row(beginIP, endIP);
        if (beginIP <= address && address <= endIP) fill(*response.nodeIPList.Append(), row);
    }
    response.result = 0;
    log.write();
}

int GetNmsIPOrNATIP(std::string& localIp, const std::string& southIp, asn_frame::AsnFrameNodeIPList& nodeIPList) {
    if (nodeIPList.count == 0) {
        localIp = southIp;
        return 0;
    }
    std::string log;
    const AsnFrameNodeIP* node = findNode(nodeIPList, southIp, log);
    if (node != nullptr) localIp = (node->natIP != nullptr ? *node->natIP : node->nmsIP).view();
    // At error level even when a node was found: these lines are looked for there.
    LogProcess::Error(0, log, here("GetNmsIPOrNATIP"));
    return node != nullptr ? 0 : -1;
}

}  // namespace NEC
