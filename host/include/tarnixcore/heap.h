// Heaps: regions that grow block by block and are freed as a whole.
//
//   mem_desc* heap = HEAP_Create(0, 0, 0);
//   auto* record = static_cast<DescProc*>(HEAP_Get(heap, sizeof(DescProc)));  // null past the ceiling
//   heap = HEAP_Release(heap);                                                // everything is gone, heap is null
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnixcore/export.h"

struct mem_desc;  // a heap; its layout is this library's own

// A new, empty heap, or null when the process has no memory. The three arguments are reserved and 0.
TARNIX_API mem_desc* HEAP_Create(int reserved1, int reserved2, int reserved3);

// `size` bytes, aligned for any record, not cleared. Null when the heap's ceiling or the process's memory is exhausted;
// the heap stays usable. A size of 0 gives a valid pointer. The heap must not be null.
TARNIX_API void* HEAP_Get(mem_desc* heap, std::size_t size);

// Frees the heap with all that it gave out. The result, always null, is what the caller stores in place of the handle.
// A null heap is allowed.
TARNIX_API mem_desc* HEAP_Release(mem_desc* heap);

// Bytes that the heap has given out, alignment included.
TARNIX_API std::size_t HEAP_BytesUsed(const mem_desc* heap);

// The ceiling, in bytes given out, of every heap created from now on. 1 GiB at start.
TARNIX_API void HEAP_SetCeiling(std::size_t bytes);

// Heaps that were created and not yet released; for tests and leak checks.
TARNIX_API std::size_t HEAP_LiveCount();

// Lets `count` calls of HEAP_Get or HEAP_Create give null, from the `call`-th from now on, counted from 1; a `call` of
// 0 ends that. Gives how many failed so since it was asked before. For tests of what a host survives when memory runs
// out.
TARNIX_API std::size_t HEAP_FailFrom(std::size_t call, std::size_t count = SIZE_MAX);
