#include "tarnixcore/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace {

class Heap : public testing::Test {
 protected:
  ~Heap() override {
    HEAP_FailFrom(0);
    HEAP_SetCeiling(size_t{1} << 30);
  }
};

// Two heaps grow at a time, in memory that those before them gave back.
TEST_F(Heap, PiecesAreAlignedApartAndKeepTheirBytes) {
  std::mt19937 random(1);
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
  EXPECT_EQ(HEAP_Release(nullptr), nullptr);
}

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
  for (const size_t size : {size_t{10001}, SIZE_MAX, SIZE_MAX - 1, SIZE_MAX - 15, SIZE_MAX - 100, SIZE_MAX / 2 + 1}) {
    EXPECT_EQ(HEAP_Get(heap, size), nullptr) << size;
  }
  EXPECT_EQ(HEAP_BytesUsed(heap), 0u);
  EXPECT_NE(HEAP_Get(heap, 5000), nullptr);
  EXPECT_EQ(HEAP_Get(heap, 5001), nullptr);
  EXPECT_NE(HEAP_Get(heap, 4000), nullptr);
  HEAP_Release(heap);
}

TEST_F(Heap, FailsFromTheGivenCallOn) {
  const size_t live = HEAP_LiveCount();
  HEAP_FailFrom(3);
  mem_desc* heap = HEAP_Create(0, 0, 0);
  ASSERT_NE(heap, nullptr);
  EXPECT_EQ(HEAP_LiveCount(), live + 1);
  EXPECT_NE(HEAP_Get(heap, 8), nullptr);
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(HEAP_Get(heap, 8), nullptr);
    EXPECT_EQ(HEAP_Create(0, 0, 0), nullptr);
  }
  HEAP_FailFrom(1);
  EXPECT_EQ(HEAP_Get(heap, 8), nullptr);
  HEAP_FailFrom(0);
  EXPECT_NE(HEAP_Get(heap, 8), nullptr);
  HEAP_Release(heap);
  EXPECT_EQ(HEAP_LiveCount(), live);
}

#if defined(__SANITIZE_ADDRESS__)
TEST_F(Heap, SanitizerSeesAStepBehindAPiece) {
  mem_desc* heap = HEAP_Create(0, 0, 0);
  auto* piece = static_cast<volatile char*>(HEAP_Get(heap, 16));
  HEAP_Get(heap, 16);
  EXPECT_DEATH(piece[16] = 1, "use-after-poison");
  HEAP_Release(heap);
}
#endif

}  // namespace
