#include "support/heap.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

namespace {

std::atomic<std::size_t> octetsInUse{0};
std::atomic<std::size_t> blocksInUse{0};
std::atomic<std::size_t> peak{0};

// Allocations left until one fails; 0 when none is to fail.
thread_local std::size_t untilFailure = 0;

// The block whose release is watched, and what it held then, as far as there is room.
thread_local const void* watched = nullptr;
thread_local std::size_t watchedSize = 0;
thread_local std::array<char, 256> watchedContent;

void* counted(void* block) {
    if (block == nullptr) throw std::bad_alloc();
    const std::size_t octets = octetsInUse += malloc_usable_size(block);
    ++blocksInUse;
    std::size_t highest = peak.load();
    while (octets > highest && !peak.compare_exchange_weak(highest, octets)) {
    }
    return block;
}

void checkFailure() {
    if (untilFailure != 0 && --untilFailure == 0) throw std::bad_alloc();
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    if (block == watched) {
        watchedSize = std::min(malloc_usable_size(block), watchedContent.size());
        std::memcpy(watchedContent.data(), block, watchedSize);
        watched = nullptr;
    }
    octetsInUse -= malloc_usable_size(block);
    --blocksInUse;
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    checkFailure();
    return counted(std::malloc(size == 0 ? 1 : size));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    checkFailure();
    void* block = nullptr;
    return counted(posix_memalign(&block, static_cast<std::size_t>(alignment), size) == 0 ? block : nullptr);
}

void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
    return operator new(size);
} catch (const std::bad_alloc&) {
    return nullptr;
}
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

namespace support {

HeapUse heapUse() {
    return {octetsInUse, blocksInUse};
}

std::size_t heapPeak() {
    return peak;
}

void resetHeapPeak() {
    peak = octetsInUse.load();
}

std::ptrdiff_t blocksLeftBy(const std::function<void()>& action) {
    const std::size_t before = blocksInUse;
    std::thread(std::ref(action)).join();
    return static_cast<std::ptrdiff_t>(blocksInUse - before);
}

WatchedRelease::WatchedRelease(const void* block) {
    watched = block;
    watchedSize = 0;
}

WatchedRelease::~WatchedRelease() {
    watched = nullptr;
}

std::string WatchedRelease::content() {
    return {watchedContent.data(), watchedSize};
}

FailingAllocation::FailingAllocation(std::size_t nth) {
    untilFailure = nth;
}

FailingAllocation::~FailingAllocation() {
    untilFailure = 0;
}

bool FailingAllocation::failed() {
    return untilFailure == 0;
}

}  // namespace support
