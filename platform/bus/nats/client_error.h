// What the NATS client says is wrong.
#pragma once

#include <string>

namespace frame::nats {

// What it says of this thread's last error, without where in its source, "(conn.c:1905): "; `fallback` when it says
// nothing.
std::string clientErrorOr(const std::string& fallback);

}  // namespace frame::nats
