// What the process's configuration says of the host and of the management centre, and the host's own addresses. All
// operations may be called from any thread; before a process is made and after it is gone those that read the
// configuration give empty texts and lists. They throw std::bad_alloc only.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "platform/export.h"

namespace TESUcommonWrap {

class FRAME_API SysConfigure {
public:
    // The south addresses, those at which NEs reach this host, as the configuration has them: several are separated
    // by ";". Empty when none is configured.
    std::string getLocalSouthIP() const;
};

}  // namespace TESUcommonWrap

namespace ns_tesusdk_wrap {

// The base URL, "scheme://host:port", of the management centre's REST endpoint; a path is appended to it. Empty when
// none is configured.
FRAME_API std::string GetIRBaseURL();

}  // namespace ns_tesusdk_wrap

namespace FrameUtil {

// Both replace what is in `addresses` by IPv4 addresses of this host in dotted text, and return their number.

// Those that the configuration lists, in its order.
FRAME_API int GetAllIPEx(std::list<std::string>& addresses);
// Those of its interfaces that are up, but for loopback ones, in the system's order, each once. None when the system
// cannot tell, which is logged as an error.
FRAME_API int GetAllIP(std::list<std::string>& addresses);

}  // namespace FrameUtil

namespace frame {

struct SysConfigOptions {
    std::string south;                 // what getLocalSouthIP gives
    std::string managementCentre;      // what GetIRBaseURL gives
    std::vector<std::string> hosts{};  // what GetAllIPEx gives
};

// Sets what the operations above give. Called by the process only.
FRAME_API void setSysConfig(const SysConfigOptions& options);

}  // namespace frame
