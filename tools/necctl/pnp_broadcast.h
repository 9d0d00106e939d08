// necctl pnp broadcast: plug-and-play files to every client.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "options.h"
#include "platform/log.h"

namespace necctl {

// Reads and sends the files. Throws Failure when nothing was sent, or not everything was written by the hosted client.
void broadcastPnp(const std::vector<std::string>& files, const Options& options);

// Reads the files as a broadcast does, goes on where that ends, and writes what would become of each. Throws Failure
// when the broadcast would end.
void tryPnp(const std::vector<std::string>& files, const Options& options);

// "0x4200004B".
std::string codeText(std::uint32_t code);
// The texts of the errors with this code, ": " before each.
std::string errorsWith(std::uint32_t code, const std::vector<frame::LogRecord>& records);

}  // namespace necctl
