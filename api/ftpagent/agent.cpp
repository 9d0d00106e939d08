// The agent: gathers candidates, asks at which addresses the NE is registered, and chooses where there is a choice.
#include "ftpagent/lvs_texts.h"
#include "ftpagent/selection.h"
#include "ftpagent/sources.h"
#include "localip/nms_lookup.h"
#include "platform/log.h"
#include "platform/sysconfig.h"

namespace NEC {

namespace {

using asn_frame::AsnFrameGetNodeIPResponse;
using asn_frame::AsnFrameNodeIPList;

std::list<FTPSvcInfo> candidatesOf(std::uint32_t kind, bool noAddress) {
    std::list<FTPSvcInfo> candidates;
    if (kind == customSftpService)
        GetCUSTOMSFTPInfoFromDB(candidates, kind, noAddress);
    else
        GetFTPInfoFromDB(candidates, kind, noAddress);
    return candidates;
}

// Returns what the platform does: their number, as a rule.
int hostAddresses(std::list<std::string>& addresses) {
    int count = FrameUtil::GetAllIPEx(addresses);
    if (count == 0) {
        addresses.clear();
        count = FrameUtil::GetAllIP(addresses);
    }
    FrameUtil::Trace("[GetFtpInfoFromFtpWatcher] GetAllIP: %d", count);
    return count;
}

// All NMS addresses, with "," in between.
std::string joined(const AsnFrameNodeIPList& nodes) {
    constexpr char separator = ',';
    std::string text;
    for (const auto* node = nodes.first; node != nullptr && node->element != nullptr; node = node->next) {
        const std::string_view address = node->element->nmsIP.view();
        if (!address.empty()) text.append(address) += separator;
    }
    if (!text.empty()) text.pop_back();
    return text;
}

int GetFtpInfoFromFtpWatcher(FTPSvcInfo& svc, const char* neIP, std::uint32_t kind, bool multiAddress) {
    std::list<FTPSvcInfo> candidates = candidatesOf(kind, multiAddress);
    if (candidates.empty()) {
        FrameUtil::Trace("[GetFtpInfoFromFtpWatcher] the size of lstFtpInfo is 0");
        return -1;
    }
    std::list<std::string> host;
    const int hostCount = hostAddresses(host);
    AsnFrameGetNodeIPResponse response;
    GetNmsIPByNEIPFromMC(response, neIP);
    AsnFrameNodeIPList& nodes = response.nodeIPList;
    const std::string neAddress = neIP != nullptr ? neIP : "";
    const std::string* address = neIP != nullptr ? &neAddress : nullptr;
    if (multiAddress) {
        svc = candidates.front();
        svc.strIP = joined(nodes);
        return 0;
    }
    if (nodes.count == 0 && hostCount == 1 && !host.empty() && candidates.size() == 1) {
        svc = candidates.front();
        svc.strIP = host.front();
        replaceByVirtualAddress(svc.strIP, address, beforeSelection);
        return 0;
    }
    return selectService(svc, address, candidates, host, nodes);
}

}  // namespace

int FTPAgent::GetFTPSvcByNEIP(FTPSvcInfo& svc, const char* neIP, bool multiAddress) {
    return GetFtpInfoFromFtpWatcher(svc, neIP, ftpService, multiAddress);
}

int FTPAgent::GetSFTPSvcByNEIP(FTPSvcInfo& svc, const char* neIP, bool multiAddress) {
    return GetFtpInfoFromFtpWatcher(svc, neIP, sftpService, multiAddress);
}

int FTPAgent::GetCustomSFTPSvcByNEIP(FTPSvcInfo& svc, const char* neIP, bool multiAddress) {
    return GetFtpInfoFromFtpWatcher(svc, neIP, customSftpService, multiAddress);
}

}  // namespace NEC
