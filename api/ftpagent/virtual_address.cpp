#include "ftpagent/virtual_address.h"

#include "localip/lvs.h"
#include "localip/subnet.h"
#include "platform/log.h"

namespace NEC {

namespace {

void traceWithout(LvsTag tag, long code, std::size_t vips) {
    // One of the three differs by a point and a blank; who reads logs by machine relies on that.
    FrameUtil::Trace("[GetFtpInfoFromFtpWatcher%d] no support or no found LVS%serrCode = %d, %d", static_cast<int>(tag),
                     tag == LvsTag::secondPass ? ".," : ", ", static_cast<int>(code), static_cast<int>(vips));
}

bool isServed(const char* neIP, const std::string& target, const std::string& mask) {
    return neIP != nullptr && IsSameSub(target, neIP, mask) == 0;
}

}  // namespace

void replaceByVirtualAddress(std::string& address, const char* neIP, LvsTag tag) {
    bool supported = false;
    LvsMap vips;
    const long code = QueryLvsInfo(supported, vips);
    if (code != 0 || !supported || vips.empty()) {
        traceWithout(tag, code, vips.size());
        return;
    }
    for (const auto& [vip, networks] : vips)
        for (const auto& [target, mask] : networks) {
            const bool same = isServed(neIP, target, mask);
            FrameUtil::Trace("[IsSameSub%d] %s sub, vip = %s, mask = %s, target = %s", static_cast<int>(tag),
                             same ? "is same" : "diff", vip.c_str(), mask.c_str(), target.c_str());
            if (same) address = vip;
        }
}

}  // namespace NEC
