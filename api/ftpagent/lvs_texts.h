// How the checks for a virtual address tell where they stand in the choice of a service.
#pragma once

#include "localip/virtual_address.h"

namespace NEC {

inline constexpr LvsTexts beforeSelection{
    "[GetFtpInfoFromFtpWatcher0] no support or no found LVS, errCode = %d, %d",
    "[IsSameSub0] is same sub, vip = %s, mask = %s, target = %s",
    "[IsSameSub0] diff sub, vip = %s, mask = %s, target = %s",
};
inline constexpr LvsTexts afterFirstPass{
    "[GetFtpInfoFromFtpWatcher1] no support or no found LVS, errCode = %d, %d",
    "[IsSameSub1] is same sub, vip = %s, mask = %s, target = %s",
    "[IsSameSub1] diff sub, vip = %s, mask = %s, target = %s",
};
inline constexpr LvsTexts afterSecondPass{
    "[GetFtpInfoFromFtpWatcher2] no support or no found LVS.,errCode = %d, %d",
    "[IsSameSub2] is same sub, vip = %s, mask = %s, target = %s",
    "[IsSameSub2] diff sub, vip = %s, mask = %s, target = %s",
};

}  // namespace NEC
