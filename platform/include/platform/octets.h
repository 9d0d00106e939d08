// Reading and copying a few octets without a call or a branch: numbers, addresses and names are most of what records
// carry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace frame {

namespace detail {

// The first and the last octets of a run, which may overlap: all are read before any is written.
template <class Word>
inline void copyEnds(void* to, const void* from, std::size_t size) {
    Word first;
    Word last;
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, static_cast<const char*>(from) + size - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(static_cast<char*>(to) + size - sizeof last, &last, sizeof last);
}

}  // namespace detail

inline constexpr std::size_t smallCopyLimit = 16;

// Copies `size` octets, at most smallCopyLimit; `to` and `from` may overlap.
inline void smallCopy(void* to, const void* from, std::size_t size) {
    if (size >= 8) return detail::copyEnds<std::uint64_t>(to, from, size);
    if (size >= 4) return detail::copyEnds<std::uint32_t>(to, from, size);
    if (size >= 2) return detail::copyEnds<std::uint16_t>(to, from, size);
    if (size == 1) std::memcpy(to, from, 1);
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

// The value of an INTEGER's contents of 1 to 4 octets, where 4 octets may be read: without a branch on the length,
// which in a list of numbers is as good as random.
inline std::int32_t integerAtOnce(const unsigned char* contents, std::size_t length) {
    std::uint32_t bigEndian;
    std::memcpy(&bigEndian, contents, sizeof bigEndian);
    return static_cast<std::int32_t>(__builtin_bswap32(bigEndian)) >> (32 - 8 * length);
}

}  // namespace frame
