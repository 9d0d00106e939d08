#include "localip/virtual_address.h"

#include "localip/lvs.h"
#include "localip/subnet.h"
#include "platform/log.h"

namespace NEC {

void replaceByVirtualAddress(std::string& address, const std::string* remoteIp, const LvsTexts& texts) {
    bool supported = false;
    LvsMap vips;
    const long code = QueryLvsInfo(supported, vips);
    if (code != 0 || !supported || vips.empty()) {
        FrameUtil::Trace(texts.without, static_cast<int>(code), static_cast<int>(vips.size()));
        return;
    }
    for (const auto& [vip, networks] : vips) {
        for (const auto& [target, mask] : networks) {
            const bool same = remoteIp != nullptr && IsSameSub(target, *remoteIp, mask) == 0;
            FrameUtil::Trace(same ? texts.same : texts.differs, vip.c_str(), mask.c_str(), target.c_str());
            if (same) address = vip;  // and on: the last one that fits is taken
        }
    }
}

}  // namespace NEC
