#include "tarnixcore/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

#include "support/heap_failure.h"

namespace {

class Heap : public testing::Test {
 protected:
  ~Heap() override {
    HEAP_FailFrom(0);
    HEAP_SetCeiling(size_t{1} << 30);
  }
};

// Two heaps grow at a time, in memory that those before them gave back.
void FillTwoHeaps(unsigned seed) {
  std::mt19937 random(seed);
  for (int round = 0; round < 3; ++round) {
    mem_desc* heaps[] = {HEAP_Create(0, 0, 0), HEAP_Create(0, 0, 0)};
    size_t totals[] = {0, 0};
    std::vector<std::pair<unsigned char*, size_t>> pieces;
    for (int i = 0; i < 40000; ++i) {
      const size_t size = i % 10000 > 9997 ? 3000000 : random() % (i % 50 > 47 ? 9000 : 90);  // 0 among them
      auto* bytes = static_cast<unsigned char*>(HEAP_Get(heaps[i % 2], size));
      ASSERT_NE(bytes, nullptr);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(bytes) % 8, 0u);
      std::memset(bytes, i & 0xFF, size);
      pieces.push_back({bytes, size});
      totals[i % 2] += size;
      ASSERT_GE(HEAP_BytesUsed(heaps[i % 2]), totals[i % 2]);
    }
    int number = 0;
    for (const auto& [bytes, size] : pieces) {
      ASSERT_EQ(std::count(bytes, bytes + size, number++ & 0xFF), static_cast<std::ptrdiff_t>(size));
    }
    EXPECT_NE(HEAP_Get(heaps[0], 0), HEAP_Get(heaps[0], 0));
    EXPECT_EQ(HEAP_Release(heaps[0]), nullptr);
    EXPECT_EQ(HEAP_Release(heaps[1]), nullptr);
  }
}

TEST_F(Heap, PiecesAreAlignedApartAndKeepTheirBytes) {
  FillTwoHeaps(1);
  EXPECT_EQ(HEAP_Release(nullptr), nullptr);
}

TEST_F(Heap, ThreadsHaveHeapsOfTheirOwn) {
  const size_t live = HEAP_LiveCount();
  std::thread other(FillTwoHeaps, 2);
  FillTwoHeaps(3);
  other.join();
  EXPECT_EQ(HEAP_LiveCount(), live);
}

// Under an emulator or a sanitizer the process has memory of theirs too.
#if defined(__linux__) && (defined(__x86_64__) || defined(__i386__)) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
size_t ResidentBytes() {
  size_t total = 0;
  size_t resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * 4096;
}

mem_desc* HeapOf(size_t pieces) {
  mem_desc* heap = HEAP_Create(0, 0, 0);
  for (size_t piece = 0; piece < pieces; ++piece) std::memset(HEAP_Get(heap, 100), 1, 100);
  return heap;
}

TEST_F(Heap, SmallHeapsTakeHalfAKilobyteAndBigOnesAnEighthMoreThanIsUsed) {
  std::vector<mem_desc*> heaps = {HeapOf(300000)};  // what earlier heaps have left goes to this one
  const struct {
    size_t heaps, pieces, mostBytes;  // `mostBytes` of a heap
  } facts[] = {{20000, 0, 650}, {20000, 1, 650}, {200, 1200, 162000}, {40, 10000, 1130000}};
  for (const auto& fact : facts) {
    const size_t before = ResidentBytes();
    for (size_t i = 0; i < fact.heaps; ++i) heaps.push_back(HeapOf(fact.pieces));
    EXPECT_LT(ResidentBytes() - before, fact.heaps * fact.mostBytes) << fact.pieces;
  }
  for (mem_desc* heap : heaps) HEAP_Release(heap);
}

TEST_F(Heap, ReleasedMemoryGoesBackOrToTheNextHeap) {
  for (int round = 0; round < 3; ++round) {
    mem_desc* heaps[] = {HeapOf(300000), HeapOf(300000), HeapOf(300000)};
    const size_t full = ResidentBytes();
    HEAP_Release(heaps[1]);  // its memory is among that of the others
    heaps[1] = HeapOf(280000);
    EXPECT_LT(ResidentBytes(), full + 2000000);
    for (mem_desc* heap : heaps) HEAP_Release(heap);
    EXPECT_LT(ResidentBytes(), full - 60000000);
  }
}
#endif

TEST_F(Heap, CeilingBoundsWhatIsGivenOut) {
  for (const size_t ceiling : {0u, 16u, 1000u, 4096u, 100000u, 5000000u}) {
    for (const size_t size : {1u, 16u, 40u, 700u, 3000u, 2000000u}) {
      HEAP_SetCeiling(ceiling);
      mem_desc* heap = HEAP_Create(0, 0, 0);
      ASSERT_NE(heap, nullptr);
      HEAP_SetCeiling(1);  // holds for later heaps only
      size_t count = 0;
      while (count <= ceiling && HEAP_Get(heap, size) != nullptr) ++count;
      EXPECT_LE(count * size, ceiling);
      EXPECT_LE(HEAP_BytesUsed(heap), ceiling);
      if (count > 0) {  // nothing is left unused that would have held another piece
        EXPECT_GT(HEAP_BytesUsed(heap) + HEAP_BytesUsed(heap) / count, ceiling) << ceiling << ' ' << size;
      }
      HEAP_Release(heap);
    }
  }
}

TEST_F(Heap, RefusalLeavesTheHeapUsable) {
  HEAP_SetCeiling(10000);
  mem_desc* heap = HEAP_Create(0, 0, 0);
  HEAP_SetCeiling(SIZE_MAX);
  mem_desc* boundless = HEAP_Create(0, 0, 0);
  for (const size_t size : {SIZE_MAX, SIZE_MAX - 1, SIZE_MAX - 7, SIZE_MAX - 15, SIZE_MAX - 100, SIZE_MAX / 2 + 1}) {
    EXPECT_EQ(HEAP_Get(heap, size), nullptr) << size;
    EXPECT_EQ(HEAP_Get(boundless, size), nullptr) << size;
  }
  EXPECT_EQ(HEAP_BytesUsed(boundless), 0u);
  EXPECT_NE(HEAP_Get(boundless, 100000), nullptr);
  HEAP_Release(boundless);
  EXPECT_EQ(HEAP_Get(heap, 10001), nullptr);
  EXPECT_EQ(HEAP_BytesUsed(heap), 0u);
  EXPECT_NE(HEAP_Get(heap, 5000), nullptr);
  EXPECT_EQ(HEAP_Get(heap, 5001), nullptr);
  EXPECT_NE(HEAP_Get(heap, 4000), nullptr);
  HEAP_Release(heap);
}

#if defined(__SANITIZE_ADDRESS__)
TEST_F(Heap, SanitizerSeesAStepPastAPiece) {
  mem_desc* heap = HEAP_Create(0, 0, 0);
  auto* piece = static_cast<volatile char*>(HEAP_Get(heap, 16));
  HEAP_Get(heap, 16);
  EXPECT_DEATH(piece[16] = 1, "use-after-poison");
  HEAP_Release(heap);
}
#endif

}  // namespace
