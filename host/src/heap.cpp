// Heaps: a pointer moves through blocks that grow with what is used, so that thousands of small heaps cost little and a
// big one takes few blocks. Nothing is freed before the heap is.
#include "tarnixcore/heap.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>

#include "heap_blocks.h"
#include "heap_failure.h"

#ifdef TARNIX_ASAN
#include <sanitizer/asan_interface.h>
#endif

namespace {

constexpr size_t ALIGNMENT = HEAP_ALIGNMENT;
constexpr size_t FIRST_BLOCK = 504;          // bytes, the heap's own record included: 512 as the process's memory goes
constexpr size_t SMALLEST_BLOCK = 1U << 10;  // bytes of the blocks after it
constexpr size_t LARGEST_BLOCK = 64U << 10;  // bytes; bigger pieces get a block of their own
constexpr size_t LARGEST_CEILING = SIZE_MAX / 2;  // below it a size, aligned and with a header, does not wrap

#ifdef TARNIX_ASAN
constexpr size_t RED_ZONE = ALIGNMENT;  // between two pieces, so that the sanitizer sees a step from one to the next
#else
constexpr size_t RED_ZONE = 0;
#endif

constexpr size_t RoundUp(size_t size) {
  return (size + ALIGNMENT - 1) & ~(ALIGNMENT - 1);
}
constexpr size_t RoundDown(size_t size) {
  return size & ~(ALIGNMENT - 1);
}

std::atomic<size_t> ceilingOfNewHeaps = size_t{1} << 30;

std::mutex mutex;  // guards the list of heaps, and each change of what fails on purpose
mem_desc* liveHeaps = nullptr;
size_t liveCount = 0;

std::atomic<size_t> callsUntilFailure = 0;  // 0: no call fails on purpose
size_t failuresLeft = 0;                    // from that call on
size_t failures = 0;

bool IsFailureSet() {
  return callsUntilFailure.load(std::memory_order_relaxed) != 0;
}

bool FailsOnPurpose() {
  if (!IsFailureSet()) {
    return false;
  }
  const std::lock_guard lock(mutex);
  if (callsUntilFailure > 1) {
    --callsUntilFailure;
    return false;
  }
  ++failures;
  if (--failuresLeft == 0) {
    callsUntilFailure = 0;
  }
  return true;
}

void Poison([[maybe_unused]] char* from, [[maybe_unused]] size_t size) {
#ifdef TARNIX_ASAN
  ASAN_POISON_MEMORY_REGION(from, size);
#endif
}

void Unpoison([[maybe_unused]] char* from, [[maybe_unused]] size_t size) {
#ifdef TARNIX_ASAN
  ASAN_UNPOISON_MEMORY_REGION(from, size);
#endif
}

}  // namespace

struct alignas(ALIGNMENT) mem_desc {
  char* cursor;       // the next piece; aligned
  char* end;          // of what HEAP_Get hands out by itself; aligned
  char* start;        // of the current block's pieces
  char* blockEnd;     // aligned
  HeapBlock* blocks;  // all but the first, which begins with this record
  size_t usedBefore;  // bytes given out from other blocks than the current one
  size_t ceiling;
  mem_desc* next;  // of the live heaps
  mem_desc* previous;

  size_t Used() const { return usedBefore + static_cast<size_t>(cursor - start); }

  // Lets `end` be no further than the block and the ceiling allow. While calls are to fail each one asks.
  void BoundEnd() {
    const size_t left = std::min(static_cast<size_t>(blockEnd - cursor), RoundDown(ceiling - Used()));
    end = IsFailureSet() ? cursor : cursor + left;
  }

  // Bytes to take for a new block that is to hold `piece`: an eighth of what is used, or for a large piece just that.
  size_t BlockSize(size_t piece) const {
    const size_t step = std::clamp(RoundDown(Used() / 8), SMALLEST_BLOCK, LARGEST_BLOCK);
    if (piece > step / 4) {
      return sizeof(HeapBlock) + piece;
    }
    return step < HEAP_UNIT ? step : step / HEAP_UNIT * HEAP_UNIT;
  }

  // A piece that the current block has no room for; null when there is no memory.
  char* TakeFromNewBlock(size_t piece);

  // Any piece that HEAP_Get cannot hand out at once. Out of line, so that HEAP_Get itself needs no stack frame.
  [[gnu::noinline]] void* GetSlowly(size_t size);
};

char* mem_desc::TakeFromNewBlock(size_t piece) {
  HeapBlock* block = TakeHeapBlock(BlockSize(piece));
  if (block == nullptr) {
    return nullptr;
  }
  block->next = blocks;
  blocks = block;
  char* memory = reinterpret_cast<char*>(block + 1);
  const size_t room = block->size - sizeof(HeapBlock);
  Poison(memory, room);
  if (room - piece > static_cast<size_t>(blockEnd - cursor)) {
    usedBefore = Used();
    start = memory;
    cursor = memory + piece;
    blockEnd = memory + room;
  } else {  // the current block has more left, so it goes on
    usedBefore += piece;
  }
  return memory;
}

void* mem_desc::GetSlowly(size_t size) {
  if (FailsOnPurpose()) {
    return nullptr;
  }
  const size_t left = ceiling - Used();
  if (size > left || std::max(RoundUp(size), ALIGNMENT) + RED_ZONE > left) {
    return nullptr;
  }
  const size_t piece = std::max(RoundUp(size), ALIGNMENT) + RED_ZONE;
  char* memory = cursor;
  if (piece <= static_cast<size_t>(blockEnd - cursor)) {
    cursor += piece;
  } else {
    memory = TakeFromNewBlock(piece);
  }
  if (memory != nullptr) {
    BoundEnd();
    Unpoison(memory, size);
  }
  return memory;
}

mem_desc* HEAP_Create(int /*reserved1*/, int /*reserved2*/, int /*reserved3*/) {
  if (FailsOnPurpose()) {
    return nullptr;
  }
  void* memory = std::malloc(FIRST_BLOCK);
  if (memory == nullptr) {
    return nullptr;
  }
  auto* heap = new (memory) mem_desc{};
  heap->start = reinterpret_cast<char*>(heap + 1);
  heap->cursor = heap->start;
  heap->blockEnd = static_cast<char*>(memory) + FIRST_BLOCK;
  heap->ceiling = ceilingOfNewHeaps;
  heap->BoundEnd();
  Poison(heap->start, static_cast<size_t>(heap->blockEnd - heap->start));
  const std::lock_guard lock(mutex);
  heap->next = liveHeaps;
  if (liveHeaps != nullptr) {
    liveHeaps->previous = heap;
  }
  liveHeaps = heap;
  ++liveCount;
  return heap;
}

void* HEAP_Get(mem_desc* heap, size_t size) {
  const auto left = static_cast<size_t>(heap->end - heap->cursor);
  // What is left is aligned, so a size that fits fits rounded up as well, but for a red zone. Size 0 wraps to the
  // largest.
  if (size - 1 >= left || (RED_ZONE != 0 && RoundUp(size) + RED_ZONE > left)) {
    return heap->GetSlowly(size);
  }
  char* piece = heap->cursor;
  heap->cursor = piece + RoundUp(size) + RED_ZONE;
  Unpoison(piece, size);
  return piece;
}

mem_desc* HEAP_Release(mem_desc* heap) {
  if (heap == nullptr) {
    return nullptr;
  }
  GiveHeapBlocks(heap->blocks);
  {
    const std::lock_guard lock(mutex);
    (heap->previous != nullptr ? heap->previous->next : liveHeaps) = heap->next;
    if (heap->next != nullptr) {
      heap->next->previous = heap->previous;
    }
    --liveCount;
  }
  std::free(heap);
  return nullptr;
}

size_t HEAP_BytesUsed(const mem_desc* heap) {
  return heap->Used();
}

void HEAP_SetCeiling(size_t bytes) {
  ceilingOfNewHeaps = std::min(bytes, LARGEST_CEILING);
}

size_t HEAP_LiveCount() {
  const std::lock_guard lock(mutex);
  return liveCount;
}

size_t HEAP_FailFrom(size_t call, size_t count) {
  const std::lock_guard lock(mutex);
  callsUntilFailure = count > 0 ? call : 0;
  failuresLeft = count;
  for (mem_desc* heap = liveHeaps; heap != nullptr; heap = heap->next) {
    heap->BoundEnd();  // HEAP_Get does not ask whether calls are to fail
  }
  return std::exchange(failures, 0);
}
