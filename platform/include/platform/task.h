// The own process, as the task framework tells it.
#pragma once

#include <cstdint>

#include "platform/export.h"

// The own process type, handle and desk; 0 before a process is made and after it is gone. From any thread.
FRAME_API unsigned int TesuGetProcId();
FRAME_API unsigned int TesuGetProcHandle();
FRAME_API unsigned int TesuGetDeskId();

namespace frame {

// Sets what the three operations above tell. Called by the process only.
FRAME_API void setOwnProcess(std::uint16_t type, std::uint16_t handle, std::uint16_t desk);

}  // namespace frame
