// A guard before the TOML parser, which recurses into what is nested and has no bound of its own.
#pragma once

#include <cstddef>
#include <string_view>

namespace frame {

// How deep tables and arrays, and how long dotted keys, may be. A configuration needs two.
inline constexpr std::size_t mostNesting = 16;

// The number, from 1, of the first line of the TOML text where brackets stand deeper, or a key has more dots, than
// mostNesting; 0 when there is none.
std::size_t lineNestedTooDeep(std::string_view text);

}  // namespace frame
