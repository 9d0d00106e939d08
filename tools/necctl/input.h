// What commands read: whole files, bounded.
#pragma once

#include <string>

namespace necctl {

// The content of `file`. Throws Failure when it cannot be read, or is larger than 64 MiB.
std::string readFile(const std::string& file);
// The same, with standard input for "-".
std::string readInput(const std::string& file);

}  // namespace necctl
