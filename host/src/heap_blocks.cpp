#include "heap_blocks.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "system.h"

namespace {

constexpr size_t SMALLEST_KEPT = 64U << 10;  // bytes
constexpr size_t LARGEST_KEPT = 1U << 20;    // the largest block that is not for one piece alone
constexpr size_t KEPT_AT_MOST = 16U << 20;   // bytes of all blocks kept
constexpr size_t STRIDE = 64U << 10;         // bytes prepared at a time: what a block may take without using it

#ifdef TARNIX_ASAN
constexpr bool KEEPS_BLOCKS = false;  // the sanitizer shall see the use of what was released
#else
constexpr bool KEEPS_BLOCKS = true;
#endif

constexpr size_t ListCount() {
  size_t count = 1;
  for (size_t size = SMALLEST_KEPT; size < LARGEST_KEPT; size *= 2) {
    ++count;
  }
  return count;
}

HeapBlock* keptBlocks[ListCount()] = {};  // by size, which doubles from one list to the next
size_t keptBytes = 0;

// The list for blocks of that size; null for a size that is not kept.
HeapBlock** ListFor(size_t size) {
  HeapBlock** list = keptBlocks;
  for (size_t kept = SMALLEST_KEPT; KEEPS_BLOCKS && kept <= LARGEST_KEPT; kept *= 2, ++list) {
    if (size == kept) {
      return list;
    }
  }
  return nullptr;
}

}  // namespace

HeapBlock* TakeHeapBlock(size_t size) {
  HeapBlock** list = ListFor(size);
  if (list != nullptr && *list != nullptr) {
    HeapBlock* block = *list;
    *list = block->next;
    keptBytes -= size;
    return block;
  }
  void* memory = std::malloc(size);
  // Small blocks are not worth the call.
  return memory != nullptr ? new (memory) HeapBlock{nullptr, size, list != nullptr ? 0 : size} : nullptr;
}

void GiveHeapBlock(HeapBlock* block) {
  HeapBlock** list = ListFor(block->size);
  if (list == nullptr || keptBytes + block->size > KEPT_AT_MOST) {
    std::free(block);
    return;
  }
  block->next = *list;
  *list = block;
  keptBytes += block->size;
}

size_t PrepareHeapBlock(HeapBlock* block, size_t end) {
  if (end > block->ready) {
    const size_t ready = std::min((end + STRIDE - 1) / STRIDE * STRIDE, block->size);
    PrepareMemory(reinterpret_cast<char*>(block) + block->ready, ready - block->ready);
    block->ready = ready;
  }
  return block->ready;
}
