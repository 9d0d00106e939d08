// IPv4 addresses as numbers.
#pragma once

#include <cstdint>
#include <string>

namespace NEC {

// What inet_addr makes of `text`, in host byte order: all ones for a text that is no address. A plain dotted quad does
// not need the call.
std::uint32_t hostOrderAddress(const std::string& text);

}  // namespace NEC
