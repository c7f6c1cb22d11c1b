// Where heaps get their blocks from: small and very large ones from the process's memory, the others from regions of
// the library's own. Released heaps leave their part of the regions to later ones, so a debugger that fills a module,
// looks at it and drops it fills the next one in memory that the system need not find again. Any thread may call.
#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARNIX_ASAN 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define TARNIX_ASAN 1
#endif

constexpr size_t HEAP_ALIGNMENT = 8;    // bytes; records hold pointers, words and bytes, nothing wider
constexpr size_t HEAP_UNIT = 4U << 10;  // bytes; blocks of a region are multiples of it

// The start of each block.
struct alignas(HEAP_ALIGNMENT) HeapBlock {
  HeapBlock* next;  // for the owner of the block
  size_t size;      // bytes, this header included
};

// A block of `size` bytes, this header included, or up to an eighth more. Null when there is no memory.
HeapBlock* TakeHeapBlock(size_t size);

// Takes back a chain of blocks, which may be empty.
void GiveHeapBlocks(HeapBlock* blocks);
