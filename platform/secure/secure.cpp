// Memory functions with the constraints that C11 names in its Annex K.
#include "platform/secure.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// No object is larger: a size above it is a negative number gone wrong.
constexpr std::size_t largest = SIZE_MAX / 2;

bool overlap(const void* a, const void* b, std::size_t count) {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    return (first < second ? second - first : first - second) < count;
}

void fill(void* dst, int value, std::size_t count) {
    std::memset(dst, value, count);
    asm volatile("" : : "r"(dst) : "memory");  // somebody may read it, as far as the compiler knows
}

int faultOfSizes(std::size_t dstSize, std::size_t count) {
    return dstSize > largest || count > dstSize ? ERANGE : 0;
}

int faultOfCopy(const void* dst, std::size_t dstSize, const void* src, std::size_t count) {
    if (dst == nullptr || src == nullptr) return EINVAL;
    if (const int fault = faultOfSizes(dstSize, count); fault != 0) return fault;
    return overlap(dst, src, count) ? EINVAL : 0;
}

}  // namespace

int memcpy_s(void* dst, std::size_t dstSize, const void* src, std::size_t count) {
    const int fault = faultOfCopy(dst, dstSize, src, count);
    if (fault == 0) {
        std::memcpy(dst, src, count);
    } else if (dst != nullptr && dstSize <= largest) {
        fill(dst, 0, dstSize);
    }
    return fault;
}

int memset_s(void* dst, std::size_t dstSize, int value, std::size_t count) {
    if (dst == nullptr) return EINVAL;
    const int fault = faultOfSizes(dstSize, count);
    if (dstSize <= largest) fill(dst, value, fault == 0 ? count : dstSize);
    return fault;
}

void FrameUtil::ClearPasswd(std::string& password) {
    password.resize(password.capacity());  // takes no memory
    fill(password.data(), 0, password.size());
    password.clear();
}
