// Memory for the many small objects of decoded records.
//
// Each thread cuts cells of one size from a slab in address order and never goes back to a freed cell; a slab counts
// its cells in use and is reused only when there is none. So neighbours in a list are neighbours in memory however old
// the heap is (a free list of cells hands out scattered ones after a while), and any thread may free a cell.
// A single cell in use keeps its slab, of 16 KiB; so does, in each thread and for each size, the run of cells freed
// last.
#pragma once

#include <cstddef>

namespace frame::slab {

// `size` octets, aligned for any object of that size. Throws std::bad_alloc.
void* allocate(std::size_t size);
// Gives back what `allocate(size)` gave; from any thread.
void release(void* cell, std::size_t size) noexcept;

}  // namespace frame::slab
