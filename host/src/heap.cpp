// Heaps: a pointer moves through blocks that double in size, so that a thousand small heaps cost little and a big one
// takes few blocks. Nothing is freed before the heap is.
#include "tarnixcore/heap.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "heap_blocks.h"

#ifdef TARNIX_ASAN
#include <sanitizer/asan_interface.h>
#endif

namespace {

constexpr size_t ALIGNMENT = HEAP_ALIGNMENT;
constexpr size_t FIRST_BLOCK = 2048;        // bytes, the heap's own record included
constexpr size_t LARGEST_BLOCK = 1U << 20;  // bytes; bigger requests get a block of their own

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

size_t ceilingOfNewHeaps = size_t{1} << 30;
size_t liveHeaps = 0;
size_t callsUntilFailure = 0;  // 0: no call fails on purpose
size_t failuresLeft = 0;       // behind that call, this one counted
size_t failures = 0;

bool FailsOnPurpose() {
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
  char* cursor;        // the next piece; aligned
  char* end;           // of what may be given out without asking: the ready part's end or the ceiling; aligned
  char* start;         // of the current block's pieces
  char* readyEnd;      // of what is ready of the current block; aligned
  char* blockEnd;      // aligned
  HeapBlock* blocks;   // all but the first, which this record begins
  HeapBlock* current;  // null: the first
  size_t nextBlock;    // bytes of the next block, its header included
  size_t usedBefore;   // bytes given out from other blocks than the current one
  size_t ceiling;

  size_t Used() const { return usedBefore + static_cast<size_t>(cursor - start); }

  // Lets `end` be no further than the block is ready and the ceiling allows.
  void BoundEnd() {
    const size_t left = std::min(static_cast<size_t>(readyEnd - cursor), RoundDown(ceiling - Used()));
    end = cursor + left;
  }

  // Room for pieces in a new block of `size` bytes.
  char* AddBlock(size_t size) {
    HeapBlock* block = TakeHeapBlock(size);
    if (block == nullptr) {
      return nullptr;
    }
    block->next = blocks;
    blocks = block;
    char* pieces = reinterpret_cast<char*>(block + 1);
    Poison(pieces, size - sizeof(HeapBlock));
    return pieces;
  }

  // A piece of the current block, which has room for it.
  char* TakePiece(size_t piece) {
    char* memory = cursor;
    cursor += piece;
    if (current != nullptr && cursor > readyEnd) {
      char* block = reinterpret_cast<char*>(current);
      readyEnd = block + PrepareHeapBlock(current, static_cast<size_t>(cursor - block));
    }
    BoundEnd();
    return memory;
  }

  // Out of line, so that HEAP_Get itself needs no stack frame.
  [[gnu::noinline]] void* GetSlowly(size_t size);
};

// `size` is not 0 and does not fit in what may be given out without asking.
void* mem_desc::GetSlowly(size_t size) {
  const size_t left = ceiling - Used();
  if (size > left || RoundUp(size) + RED_ZONE > left) {
    return nullptr;
  }
  const size_t piece = RoundUp(size) + RED_ZONE;
  if (piece <= static_cast<size_t>(blockEnd - cursor)) {
    char* memory = TakePiece(piece);
    Unpoison(memory, size);
    return memory;
  }
  if (piece > nextBlock / 4) {  // a block of its own: the current block goes on
    char* memory = AddBlock(sizeof(HeapBlock) + piece);
    if (memory != nullptr) {
      usedBefore += piece;
      BoundEnd();
      Unpoison(memory, size);
    }
    return memory;
  }
  char* memory = AddBlock(nextBlock);
  if (memory == nullptr) {
    return nullptr;
  }
  usedBefore = Used();
  current = blocks;
  start = cursor = memory;
  blockEnd = memory + (nextBlock - sizeof(HeapBlock));
  readyEnd = reinterpret_cast<char*>(current) + current->ready;
  TakePiece(piece);
  nextBlock = std::min(nextBlock * 2, LARGEST_BLOCK);
  Unpoison(memory, size);
  return memory;
}

mem_desc* HEAP_Create(int /*reserved1*/, int /*reserved2*/, int /*reserved3*/) {
  if (callsUntilFailure != 0 && FailsOnPurpose()) {
    return nullptr;
  }
  void* memory = std::malloc(FIRST_BLOCK);
  if (memory == nullptr) {
    return nullptr;
  }
  auto* heap = new (memory) mem_desc{};
  heap->start = reinterpret_cast<char*>(heap + 1);
  heap->cursor = heap->start;
  heap->readyEnd = heap->blockEnd = static_cast<char*>(memory) + FIRST_BLOCK;
  heap->nextBlock = FIRST_BLOCK * 2;
  heap->ceiling = ceilingOfNewHeaps;
  heap->BoundEnd();
  Poison(heap->start, static_cast<size_t>(heap->blockEnd - heap->start));
  ++liveHeaps;
  return heap;
}

void* HEAP_Get(mem_desc* heap, size_t size) {
  if (callsUntilFailure != 0 && FailsOnPurpose()) {
    return nullptr;
  }
  size += size == 0 ? 1 : 0;
  const auto left = static_cast<size_t>(heap->end - heap->cursor);
  // What is left is aligned, so a size that fits fits rounded up as well, but for a red zone.
  if (size > left || (RED_ZONE != 0 && RoundUp(size) + RED_ZONE > left)) {
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
  for (HeapBlock* block = heap->blocks; block != nullptr;) {
    HeapBlock* next = block->next;
    GiveHeapBlock(block);
    block = next;
  }
  std::free(heap);
  --liveHeaps;
  return nullptr;
}

size_t HEAP_BytesUsed(const mem_desc* heap) {
  return heap->Used();
}

void HEAP_SetCeiling(size_t bytes) {
  ceilingOfNewHeaps = bytes;
}

size_t HEAP_LiveCount() {
  return liveHeaps;
}

size_t HEAP_FailFrom(size_t call, size_t count) {
  callsUntilFailure = count > 0 ? call : 0;
  failuresLeft = count;
  return std::exchange(failures, 0);
}
