// Passwords that can be told from all else in memory. Both who writes them and who looks for them make them octet by
// octet, so that nobody holds one by looking for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ftp_test {

// Which password, and its length.
struct Canary {
    std::uint32_t number;
    std::size_t size;
};

// Some fit inside a std::string, some fill more than a page of SQLite's.
inline constexpr Canary parametersCanaries[] = {{1, 300}, {2, 4096}, {3, 14}};
inline constexpr Canary accountCanaries[] = {{11, 300}, {12, 14}, {13, 4096}, {14, 100}};

inline char octetOf(const Canary& canary, std::size_t at) {
    std::uint32_t mixed = (static_cast<std::uint32_t>(at) + 1) * 2654435761U + canary.number * 40503U * 65537U;
    mixed ^= mixed >> 15U;
    mixed *= 2246822519U;
    mixed ^= mixed >> 13U;
    return static_cast<char>('a' + mixed % 26);
}

inline void append(std::string& text, const Canary& canary) {
    text.reserve(text.size() + canary.size);
    for (std::size_t at = 0; at < canary.size; ++at) text += octetOf(canary, at);
}

}  // namespace ftp_test
