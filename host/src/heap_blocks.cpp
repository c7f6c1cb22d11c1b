#include "heap_blocks.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

#include "system.h"
#include "tarnixcore/memory.h"

namespace {

constexpr size_t LARGEST_RUN = 1U << 20;    // bytes; larger blocks are from the process's memory
constexpr size_t FIRST_REGION = 16U << 20;  // bytes
constexpr size_t FIRST_STEP = 64U << 10;    // bytes of the first region that the system is asked for at a time
constexpr size_t LATER_REGION = 32U << 20;  // bytes
constexpr size_t LATER_STEP =
    256U << 10;  // the same of the others; large pages were slower, since finding them takes long
constexpr size_t KEPT_OF_SPARE = 16U << 20;  // bytes that the spare region keeps of its pages
constexpr size_t MOST_UNITS = LATER_REGION / HEAP_UNIT;

#ifdef TARNIX_ASAN
constexpr bool USES_REGIONS = false;  // the sanitizer sees the use of released memory only if it is really released
#else
constexpr bool USES_REGIONS = CAN_MAP_MEMORY;
#endif

struct Region {
  Region* next;
  char* memory;
  size_t units;  // of HEAP_UNIT bytes
  size_t freeUnits;
  size_t firstFree;   // no unit before it is free
  size_t refusedRun;  // no run of so many units is free; 0: not known
  size_t ready;       // bytes from the start that the system has found pages for
  size_t step;        // bytes that it finds pages for at a time
  bool isTaken[MOST_UNITS];
};

std::mutex mutex;           // guards the regions
Region* regions = nullptr;  // the oldest first; the first of them stays for good

Region* AddRegion() {
  Region** link = &regions;
  while (*link != nullptr) {
    link = &(*link)->next;
  }
  void* memory = std::calloc(1, sizeof(Region));
  if (memory == nullptr) {
    return nullptr;
  }
  auto* region = static_cast<Region*>(memory);
  const bool isFirst = regions == nullptr;
  const size_t size = isFirst ? FIRST_REGION : LATER_REGION;
  region->memory = static_cast<char*>(MapMemory(size));
  if (region->memory == nullptr) {
    std::free(region);
    return nullptr;
  }
  region->units = region->freeUnits = size / HEAP_UNIT;
  region->step = isFirst ? FIRST_STEP : LATER_STEP;
  *link = region;
  return region;
}

// The first unit of the first run of `count` free ones, or the number of units when there is none.
size_t FindRun(const Region& region, size_t count) {
  size_t begin = region.firstFree;
  for (size_t unit = begin; unit < region.units; ++unit) {
    if (region.isTaken[unit]) {
      begin = unit + 1;
    } else if (unit + 1 - begin == count) {
      return begin;
    }
  }
  return region.units;
}

// Has the system find the pages up to `end`, and up to the next step, at once instead of one by one.
void Prepare(Region* region, size_t end) {
  if (end > region->ready) {
    const size_t ready = (end + region->step - 1) / region->step * region->step;
    PrepareMemory(region->memory + region->ready, ready - region->ready);
    region->ready = ready;
  }
}

HeapBlock* TakeRun(Region* region, size_t count) {
  if (count > region->freeUnits || (region->refusedRun != 0 && count >= region->refusedRun)) {
    return nullptr;
  }
  const size_t begin = FindRun(*region, count);
  if (begin == region->units) {
    region->refusedRun = count;
    return nullptr;
  }
  std::fill_n(region->isTaken + begin, count, true);
  region->freeUnits -= count;
  if (begin == region->firstFree) {
    region->firstFree = begin + count;
  }
  Prepare(region, (begin + count) * HEAP_UNIT);
  return new (region->memory + begin * HEAP_UNIT) HeapBlock{nullptr, count * HEAP_UNIT};
}

HeapBlock* TakeFromRegions(size_t count) {
  const std::lock_guard lock(mutex);
  for (Region* region = regions; region != nullptr; region = region->next) {
    HeapBlock* block = TakeRun(region, count);
    if (block != nullptr) {
      return block;
    }
  }
  Region* region = AddRegion();
  return region != nullptr ? TakeRun(region, count) : nullptr;
}

Region* FindRegion(const HeapBlock* block) {
  const auto address = reinterpret_cast<uintptr_t>(block);
  Region* region = regions;
  while (region != nullptr && address - reinterpret_cast<uintptr_t>(region->memory) >= region->units * HEAP_UNIT) {
    region = region->next;
  }
  return region;
}

void GiveRun(Region* region, HeapBlock* block) {
  const size_t begin = static_cast<size_t>(reinterpret_cast<char*>(block) - region->memory) / HEAP_UNIT;
  const size_t count = block->size / HEAP_UNIT;
  std::fill_n(region->isTaken + begin, count, false);
  region->freeUnits += count;
  region->firstFree = std::min(region->firstFree, begin);
  region->refusedRun = 0;
}

// Returns later regions that are empty to the system. One of them stays as a spare, with some of its pages.
void DropEmptyRegions() {
  bool hasSpare = false;
  for (Region** link = &regions; *link != nullptr;) {
    Region* region = *link;
    if (region == regions || region->freeUnits < region->units) {
      link = &region->next;
    } else if (hasSpare) {
      *link = region->next;
      UnmapMemory(region->memory, region->units * HEAP_UNIT);
      std::free(region);
    } else {
      hasSpare = true;
      if (region->ready > KEPT_OF_SPARE) {
        DiscardPages(region->memory + KEPT_OF_SPARE, region->ready - KEPT_OF_SPARE);
        region->ready = KEPT_OF_SPARE;
      }
      link = &region->next;
    }
  }
}

}  // namespace

HeapBlock* TakeHeapBlock(size_t size) {
  const size_t count = (size - 1) / HEAP_UNIT + 1;
  if (USES_REGIONS && size <= LARGEST_RUN && count * HEAP_UNIT - size <= size / 8) {
    HeapBlock* block = TakeFromRegions(count);
    if (block != nullptr) {
      return block;
    }
  }
  void* memory = std::malloc(size);
  return memory != nullptr ? new (memory) HeapBlock{nullptr, size} : nullptr;
}

void GiveHeapBlocks(HeapBlock* blocks) {
  if (blocks == nullptr) {
    return;
  }
  const std::lock_guard lock(mutex);
  while (blocks != nullptr) {
    HeapBlock* next = blocks->next;
    Region* region = FindRegion(blocks);
    if (region != nullptr) {
      GiveRun(region, blocks);
    } else {
      std::free(blocks);
    }
    blocks = next;
  }
  DropEmptyRegions();
}
