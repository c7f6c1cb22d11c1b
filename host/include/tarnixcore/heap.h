// Heaps: memory that grows block by block and is freed as a whole.
//
//   mem_desc* heap = HEAP_Create(0, 0, 0);
//   auto* record = static_cast<DescProc*>(HEAP_Get(heap, sizeof(DescProc)));  // null past the ceiling
//   heap = HEAP_Release(heap);                                                // everything is gone, heap is null
//
// A heap with up to 400 bytes takes 512 bytes of memory, a larger one about an eighth more than it has given out.
// Threads may use heaps at the same time, but each heap only one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnixcore/export.h"

struct mem_desc;  // a heap; its layout is the library's own

// A new, empty heap, or null when the process has no memory. The three arguments are reserved and 0.
TARNIX_API mem_desc* HEAP_Create(int reserved1, int reserved2, int reserved3);

// `size` bytes, aligned to 8, not cleared. Null when the heap's ceiling or the process's memory is exhausted, for any
// size up to SIZE_MAX; the heap stays usable then. For a size of 0 the result is a pointer of its own. `heap` must not
// be null.
TARNIX_API void* HEAP_Get(mem_desc* heap, std::size_t size);

// Frees the heap and all that it gave out. Returns null, which the caller stores in place of the handle. A null heap is
// allowed.
TARNIX_API mem_desc* HEAP_Release(mem_desc* heap);

// Bytes that the heap has given out, each size rounded up to a multiple of 8. `heap` must not be null.
TARNIX_API std::size_t HEAP_BytesUsed(const mem_desc* heap);

// Sets the ceiling of all heaps that are created from now on, in bytes given out: 0 to SIZE_MAX / 2, which larger
// values mean too. It is 1 GiB at start.
TARNIX_API void HEAP_SetCeiling(std::size_t bytes);

// The number of heaps that were created and not yet released; for tests and leak checks.
TARNIX_API std::size_t HEAP_LiveCount();
