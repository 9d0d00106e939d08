// What the process's configuration says of the host and of the management centre. All operations may be called from
// any thread; before a process is made and after it is gone they give empty texts. They throw std::bad_alloc only.
#pragma once

#include <string>

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

namespace frame {

struct SysConfigOptions {
    std::string south;             // what getLocalSouthIP gives
    std::string managementCentre;  // what GetIRBaseURL gives
};

// Sets what the operations above give. Called by the process only.
FRAME_API void setSysConfig(const SysConfigOptions& options);

}  // namespace frame
