// A watched heap: a test program that is linked with heap.cpp has all of operator new and delete counted, and can let
// single allocations fail. What libraries take with malloc is not seen.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>

namespace support {

struct HeapUse {
    std::size_t octets = 0;
    std::size_t blocks = 0;
};

// What is in use now, by all threads.
HeapUse heapUse();
// The most octets in use at a time since the last resetHeapPeak.
std::size_t heapPeak();
void resetHeapPeak();

// How many blocks more than before are in use after `action`, which runs on a thread of its own, so that what threads
// keep for themselves is given back. 0 unless `action` leaks, or does something for the first time.
std::ptrdiff_t blocksLeftBy(const std::function<void()>& action);

// Watches one block that is in use, until it is released by this thread.
class WatchedRelease {
public:
    explicit WatchedRelease(const void* block);
    ~WatchedRelease();
    WatchedRelease(const WatchedRelease&) = delete;
    WatchedRelease& operator=(const WatchedRelease&) = delete;

    // What the block, its first 256 octets at most, held when it was released; empty: it was not.
    static std::string content();
};

// While it lives, the nth allocation that this thread makes fails with std::bad_alloc; 1 is the next one.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t nth);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    // Whether the nth allocation was reached.
    static bool failed();
};

// Whether `operation` reached its nth allocation, which failed. Catches the std::bad_alloc that leaves it then.
template <class Operation>
bool runsOut(std::size_t nth, Operation operation) {
    const FailingAllocation failing(nth);
    try {
        operation();
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(FailingAllocation::failed());
    }
    return FailingAllocation::failed();
}

}  // namespace support
