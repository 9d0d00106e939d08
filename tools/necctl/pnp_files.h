// The plug-and-play files that a command line names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "options.h"

namespace necctl {

// What --help says of how `files` are taken.
inline constexpr const char* pnpFilesHelp =
    "Files, and directories, which stand for the regular files in them and in those below, by name in order of octets. "
    "Links named here are followed; what is a link, a FIFO, a socket or a device in a directory is left out, and told";

// The files. Throws Failure when a directory cannot be read, or holds none.
std::vector<std::string> pnpFiles(const std::vector<std::string>& given, const Options& options);

// In octets; nothing for what is no regular file, or not there.
std::optional<std::uint64_t> sizeOfFile(const std::string& path);

}  // namespace necctl
