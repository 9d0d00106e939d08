// The own process: three numbers in one, so that nobody sees a type of one process with the handle of another.
#include <atomic>

#include "platform/task.h"

namespace {

// Type, handle and desk, from the low end.
std::atomic<std::uint64_t> own{0};

unsigned int part(unsigned shift) {
    return own.load(std::memory_order_relaxed) >> shift & 0xFFFFU;
}

}  // namespace

unsigned int TesuGetProcId() {
    return part(0);
}
unsigned int TesuGetProcHandle() {
    return part(16);
}
unsigned int TesuGetDeskId() {
    return part(32);
}

void frame::setOwnProcess(std::uint16_t type, std::uint16_t handle, std::uint16_t desk) {
    own.store(std::uint64_t{type} | std::uint64_t{handle} << 16U | std::uint64_t{desk} << 32U,
              std::memory_order_relaxed);
}
