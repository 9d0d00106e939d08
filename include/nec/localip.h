// Which address of this host a device must use to reach it.
#pragma once

#include <string>

#include "nec/export.h"

namespace NEC {

// Gives in `localIp` the address of this host that the device at `remoteIp`, a dotted IPv4 address, must use. It
// fetches the NAT mappings from the management centre's REST service.
//
// When mappings cover the device: the south addresses are tried in their order; the first that is the NMS address of
// such a mapping gives its NAT address, or itself where there is none. When none is, the first south address.
// When no mapping covers the device: the virtual address of the load balancer in front of this process that serves the
// device's network, the last of several; when there is none, the first south address.
//
// Returns
//   0           `localIp` is the address;
//   -1          no south address is configured: `localIp` is empty;
//   0xB00001A   the service answered with another status than success, or with something that is not JSON;
//   0x41032196  the HTTP exchange failed (the log says how).
// After the last two `localIp` is what it was.
//
// Blocks for the exchange, up to 60 seconds. May be called from any thread, by any number at a time, while none changes
// the environment (PROCESS_NAME and APP_CONF_FILE are read). `remoteIp` and `localIp` must be different objects.
//
// Throws, when no mapping covers the device and the load balancer's description is looked at: std::invalid_argument or
// std::out_of_range when a field of an address in it, or of `remoteIp`, is no number or too large a one; another
// std::exception when the description has members of wrong types or is nested too deep. `localIp` may be changed then.
// Throws std::bad_alloc.
NEC_API long GetLocalIpByRemoteIp(const std::string& remoteIp, std::string& localIp);

}  // namespace NEC
