// Reading what is outside, bounded.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace frame {

// What is left to read of `stream`; nothing when reading fails, with the reason in errno. Stops soon after `most`
// octets: a longer text than that is too large.
std::optional<std::string> readUpTo(std::FILE* stream, std::size_t most);

}  // namespace frame
