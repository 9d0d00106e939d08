#include "ftpagent/selection.h"

#include <algorithm>

#include "ftpagent/directory.h"
#include "ftpagent/lvs_texts.h"
#include "localip/nms_lookup.h"
#include "support/location.h"

namespace NEC {

namespace {

using Candidates = std::list<FTPSvcInfo>;

constexpr const char* unroutable = "0.0.0.0";

// Leaves the candidates on this host; when there are none, all but those that no NE can reach.
void preferThisHost(Candidates& candidates, const std::list<std::string>& host) {
    Candidates fallback;
    for (auto candidate = candidates.begin(); candidate != candidates.end();) {
        if (candidate->strIP == unroutable) {
            FrameUtil::Trace("[GetFtpInfoFromFtpWatcher] IP: 0.0.0.0 ");
            candidate = candidates.erase(candidate);
        } else if (std::find(host.begin(), host.end(), candidate->strIP) != host.end()) {
            ++candidate;
        } else {
            const auto elsewhere = candidate++;
            fallback.splice(fallback.end(), candidates, elsewhere);
        }
    }
    if (candidates.empty()) candidates.splice(candidates.end(), fallback);
}

bool isUsable(const FTPSvcInfo& candidate) {
    if (candidate.iState == 0) {
        LogProcess::Info(candidate.strIP, here("GetFtpInfoFromFtpWatcher"));
        return true;
    }
    FrameUtil::Trace("[GetFtpInfoFromFtpWatcher] State of ftp server(%s) is %d, continue.", candidate.strIP.c_str(),
                     candidate.iState);
    return false;
}

// A candidate, if there is one, and the address at which the NE reaches it.
struct Choice {
    const FTPSvcInfo* candidate = nullptr;
    std::string address;
    int code = 0;  // of the last one that was looked at
    bool secondPass = false;
};

// The first that `admits` lets pass and that the NE can reach.
template <class Admits>
void choose(Choice& choice, const Candidates& candidates, asn_frame::AsnFrameNodeIPList& nodes, Admits admits) {
    for (const FTPSvcInfo& candidate : candidates) {
        if (!admits(candidate)) continue;
        choice.code = GetNmsIPOrNATIP(choice.address, candidate.strIP, nodes);
        if (choice.code != 0) continue;
        choice.candidate = &candidate;
        return;
    }
}

Choice choiceAmong(const Candidates& candidates, asn_frame::AsnFrameNodeIPList& nodes) {
    Choice choice;
    choose(choice, candidates, nodes, isUsable);
    if (choice.candidate != nullptr) return choice;
    choice.secondPass = true;
    choose(choice, candidates, nodes, [](const FTPSvcInfo&) { return true; });
    return choice;
}

}  // namespace

int selectService(FTPSvcInfo& svc, const std::string* neIP, Candidates& candidates, const std::list<std::string>& host,
                  asn_frame::AsnFrameNodeIPList& nodes) {
    preferThisHost(candidates, host);
    if (candidates.empty()) return 0;
    Choice choice = choiceAmong(candidates, nodes);
    if (choice.candidate == nullptr) return choice.code;
    if (nodes.count == 0 && choice.address == choice.candidate->strIP)
        replaceByVirtualAddress(choice.address, neIP, choice.secondPass ? afterSecondPass : afterFirstPass);
    svc = *choice.candidate;
    svc.strIP = choice.address;
    CDirectoryMgr::instance()->CDDir(svc.strFtpRoot);
    return 0;
}

}  // namespace NEC
