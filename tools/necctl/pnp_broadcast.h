// necctl pnp broadcast: plug-and-play files to every client.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "answers.h"
#include "options.h"

namespace necctl {

// Reads and sends the files. Throws Failure when nothing was sent, or not everything was written by the hosted client.
void broadcastPnp(const std::vector<std::string>& files, const Options& options);

// Reads the files as a broadcast does, goes on where that ends, and writes what would become of each. Throws Failure
// when the broadcast would end.
void tryPnp(const std::vector<std::string>& files, const Options& options);

// "0x4200004B".
std::string codeText(std::uint32_t code);
// Why a broadcast has ended with `code`, by what it logged.
std::string abortText(std::uint32_t code, const LogRecords& records);

// The size of a broadcast whose files are encoded in so many octets.
std::uint64_t broadcastOctets(std::uint64_t files);

}  // namespace necctl
