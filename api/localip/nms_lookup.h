// Which NMS and NAT addresses serve an NE: asked of the management centre, or looked up in a table; and what an answer
// says of one of the host's own addresses.
//
// All operations work on their arguments only and may be called from any thread. They throw std::bad_alloc.
#pragma once

#include <string>
#include <vector>

#include "nec/records.h"

namespace NEC {

// One row of a NAT table: NEs from `beginIP` to `endIP`, both included, are served by `nmsIP`, which they see as
// `natIP`. Dotted texts, possibly empty.
struct NatInfo {
    std::string beginIP;
    std::string endIP;
    std::string nmsIP;
    std::string natIP;
};

// Asks the management centre over the bus, blocking for up to 60 seconds. Returns -1 for a null `neIP`, the code of
// FrameUtil::SynSendMsg when it failed, 0 when the centre has no table, and else the `result` of its answer. After a
// failure `response` is as the bus left it.
int GetNmsIPByNEIPFromMC(asn_frame::AsnFrameGetNodeIPResponse& response, const char* neIP);

// Fills `response` with a node for each row of `table` that `remoteIp` lies in, in table order; `result` becomes 0.
// What is no address compares as 255.255.255.255.
void GetOneLocalIpRspFromIpTable(const std::vector<NatInfo>& table, const std::string& remoteIp,
                                 asn_frame::AsnFrameGetNodeIPResponse& response);

// Looks for the first node whose NMS address is `southIp`. Returns 0, and in `localIp` the address that the NE must
// use: the node's NAT address if it has one, else its NMS address, or `southIp` when there are no nodes at all. Returns
// -1 and leaves `localIp` alone when no node fits.
int GetNmsIPOrNATIP(std::string& localIp, const std::string& southIp, asn_frame::AsnFrameNodeIPList& nodeIPList);

}  // namespace NEC
