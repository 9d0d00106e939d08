#include "asn1/slab.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "platform/asn1.h"

// AddressSanitizer sees the use of a freed object only when each one is a block of its own.
#if defined(__SANITIZE_ADDRESS__)
#define NEC_SLAB_OFF 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NEC_SLAB_OFF 1
#endif
#endif

namespace frame::slab {

#ifdef NEC_SLAB_OFF

void* allocate(std::size_t size) {
    return ::operator new(size);
}
void release(void* cell, std::size_t) noexcept {
    ::operator delete(cell);
}

#else

namespace {

constexpr std::size_t slabAlignment = 16384;
// Leaves room for the heap's own header, so that slabs can follow each other without gaps.
constexpr std::size_t slabSize = slabAlignment - 64;
constexpr std::size_t granule = 8;
constexpr std::size_t largestCell = 128;
// Held on a slab that cells are still cut from, so that it does not look empty meanwhile.
constexpr std::int64_t cutting = std::int64_t{1} << 32;

struct alignas(16) Slab {
    std::atomic<std::int64_t> inUse{cutting};
    char* cells() { return reinterpret_cast<char*>(this + 1); }
};

// Where a thread cuts its next cell of one size.
struct Cutter {
    char* next = nullptr;
    char* end = nullptr;
    Slab* slab = nullptr;
};

// Cells of one size that the thread has freed one after another and not yet taken off their slab's count: the count is
// shared by threads, so one subtraction for a whole run of cells is far cheaper than one for each.
struct Freed {
    Slab* slab = nullptr;
    std::int64_t cells = 0;
};

constexpr std::size_t sizeClass(std::size_t size) {
    return (size + granule - 1) / granule;
}

struct Thread {
    Cutter cutters[largestCell / granule + 1];
    Freed freed[largestCell / granule + 1];
    bool ended = false;
};

// Trivial, and in the initial TLS block, because every allocation looks at it.
constinit thread_local Thread thisThread __attribute__((tls_model("initial-exec")));

void freeSlab(Slab* slab) {
    slab->~Slab();
    ::operator delete(slab, std::align_val_t(slabAlignment));
}

void subtract(Slab* slab, std::int64_t cells) {
    if (slab->inUse.fetch_sub(cells, std::memory_order_acq_rel) == cells) freeSlab(slab);
}

void settle(Freed& freed) {
    if (freed.slab != nullptr) subtract(freed.slab, freed.cells);
    freed = {};
}

// Takes the hold off a slab from which `cut` cells were cut; true when none of them is in use any more.
bool finish(Slab* slab, std::int64_t cut) {
    return slab->inUse.fetch_sub(cutting - cut, std::memory_order_acq_rel) == cutting - cut;
}

std::int64_t cellsCut(const Cutter& cutter, std::size_t cell) {
    return (cutter.next - cutter.slab->cells()) / static_cast<std::ptrdiff_t>(cell);
}

// Lets go of the thread's slabs when the thread ends.
struct ThreadEnd {
    ~ThreadEnd() {
        for (std::size_t i = 1; i <= sizeClass(largestCell); ++i) {
            settle(thisThread.freed[i]);
            Cutter& cutter = thisThread.cutters[i];
            if (cutter.slab != nullptr && finish(cutter.slab, cellsCut(cutter, i * granule))) freeSlab(cutter.slab);
            cutter = {};
        }
        thisThread.ended = true;
    }
    void arm() {}
};
thread_local ThreadEnd threadEnd;

[[gnu::noinline]] void* refill(std::size_t index) {
    const std::size_t cell = index * granule;
    Cutter& cutter = thisThread.cutters[index];
    settle(thisThread.freed[index]);
    Slab* slab = cutter.slab;
    if (slab != nullptr && finish(slab, cellsCut(cutter, cell))) {
        slab->inUse.store(cutting, std::memory_order_relaxed);  // all its cells were freed: begin it again
    } else {
        cutter = {};  // a slab that is full belongs to its cells
        slab = new (::operator new(slabSize, std::align_val_t(slabAlignment))) Slab;
    }
    if (thisThread.ended) {  // no later chance to let go of the slab
        slab->inUse.store(1, std::memory_order_relaxed);
        return slab->cells();
    }
    threadEnd.arm();
    const std::size_t count = (slabSize - sizeof(Slab)) / cell;
    cutter = {slab->cells() + cell, slab->cells() + count * cell, slab};
    return slab->cells();
}

[[gnu::noinline]] void startRun(Freed& freed, Slab* slab) {
    if (thisThread.ended) return subtract(slab, 1);  // no later chance to settle
    threadEnd.arm();
    settle(freed);
    freed = {slab, 1};
}

}  // namespace

void* allocate(std::size_t size) {
    if (size > largestCell) return ::operator new(size);
    const std::size_t index = sizeClass(size);
    Cutter& cutter = thisThread.cutters[index];
    if (cutter.next == cutter.end) return refill(index);
    char* cell = cutter.next;
    cutter.next += index * granule;
    return cell;
}

void release(void* cell, std::size_t size) noexcept {
    if (size > largestCell) return ::operator delete(cell);
    const auto inside = reinterpret_cast<std::uintptr_t>(cell) & (slabAlignment - 1);
    auto* slab = reinterpret_cast<Slab*>(static_cast<char*>(cell) - inside);
    Freed& freed = thisThread.freed[sizeClass(size)];
    if (freed.slab == slab) {
        ++freed.cells;
    } else {
        startRun(freed, slab);
    }
}

#endif

}  // namespace frame::slab

void* AsnType::operator new(std::size_t size) {
    return frame::slab::allocate(size);
}
void AsnType::operator delete(void* object, std::size_t size) noexcept {
    frame::slab::release(object, size);
}
