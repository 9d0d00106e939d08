// Which local address an NE is to use, once the candidates are known.
#pragma once

#include <string>
#include <vector>

#include "localip/nms_lookup.h"

namespace NEC {

// Whether `ip` lies in `targetNetwork` under `mask`, all dotted texts: 0 it does, 1 malformed, 2 it does not. Of each
// field its leading number counts, and missing fields are 0; numbers of `mask` are not limited.
// Throws std::invalid_argument for a field without a number at its beginning, and std::out_of_range for one that is no
// int; but an empty field of `mask` or `targetNetwork`, other than the last, gives 1.
int IsSameSub(const std::string& targetNetwork, const std::string& ip, const std::string& mask);

// Chooses the address that the NE at `remoteIp` must use: what `natTable` says of the first of `southIps` that it
// knows; or, when no row covers the NE, the last virtual address of this process that serves the NE's network; or else
// the first of `southIps`. Leaves `localIp` alone when there are no `southIps`. Returns 0.
// Throws what IsSameSub and QueryLvsInfo throw; `localIp` may be changed then.
int GetIntersectIp(std::string& localIp, const std::string& remoteIp, const std::vector<std::string>& southIps,
                   const std::vector<NatInfo>& natTable);

}  // namespace NEC
