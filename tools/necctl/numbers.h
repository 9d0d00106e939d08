// Numbers and addresses of processes on the command line.
#pragma once

#include <cstdint>
#include <string>

#include "platform/bus.h"

namespace necctl {

// The number that `text` writes, decimal or hexadecimal ("0x217006"), without sign, with 32 bits at most. Throws
// Failure, wrong usage, that names `what`, such as "--id".
std::uint32_t numberIn(const std::string& text, const std::string& what);

// The address "TYPE:HANDLE"; handle 0 is any process of the type. Throws as above.
CProcID addressIn(const std::string& text, const std::string& what);

}  // namespace necctl
