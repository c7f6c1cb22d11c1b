// Where heaps get their blocks from: the process's memory, and a few large blocks of released heaps. A debugger that
// fills a module, looks at it and drops it has the same memory for the next one, which the system need not find again.
#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARNIX_ASAN 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define TARNIX_ASAN 1
#endif

constexpr size_t HEAP_ALIGNMENT = 8;  // records hold pointers, words and bytes, nothing wider

// What each block begins with.
struct alignas(HEAP_ALIGNMENT) HeapBlock {
  HeapBlock* next;  // of the heap
  size_t size;      // with this header
  size_t ready;     // bytes from the block's start that need no more preparing
};

// A block of `size` bytes, this header included, or null.
HeapBlock* TakeHeapBlock(size_t size);
void GiveHeapBlock(HeapBlock* block);

// Lets the system find the memory of `block` up to `end` and some way further, at once instead of page by page. Gives
// the offset up to which the block is ready.
size_t PrepareHeapBlock(HeapBlock* block, size_t end);
