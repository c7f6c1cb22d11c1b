#include "tarnixcore/list.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "support/heap_failure.h"

namespace {

struct Item {
  int key;
  int number;  // order of insertion
};
using Numbers = std::vector<int>;

size_t comparisons = 0;
int MayBeBefore(const void* a, const void* b) {
  ++comparisons;
  return static_cast<const Item*>(a)->key <= static_cast<const Item*>(b)->key ? 1 : -1;
}

Numbers NumbersOf(L_list* list) {
  Numbers numbers;
  for (void* data = L_First(list); data != nullptr; data = L_Next(list)) {
    numbers.push_back(static_cast<Item*>(data)->number);
  }
  EXPECT_EQ(L_Next(list), nullptr);  // the end stays the end
  return numbers;
}

TEST(List, MixedModesReadsBetweenThemAndAppendedLists) {
  Item low{1, 0}, middle{5, 1}, high{9, 2}, other{5, 3}, between{7, 4};
  L_list* list = L_Create(nullptr);
  EXPECT_EQ(L_AddList(list, list), 1);
  L_InsertData(list, L_SORTED, MayBeBefore, &middle);
  L_InsertData(list, L_AT_HEAD, L_Nop, &low);
  L_InsertData(list, L_AT_TAIL, L_Nop, &high);
  EXPECT_EQ(NumbersOf(list), (Numbers{0, 1, 2}));
  EXPECT_EQ(L_First(list), &low);
  EXPECT_EQ(L_Next(list), &middle);
  L_InsertData(list, L_SORTED, MayBeBefore, &other);  // the cursor stays on its data
  L_InsertData(list, L_SORTED, MayBeBefore, &between);
  EXPECT_EQ(L_Next(list), &other);
  EXPECT_EQ(NumbersOf(list), (Numbers{0, 1, 3, 4, 2}));

  L_list* from = L_Create(nullptr);
  L_InsertData(from, L_AT_TAIL, L_Nop, &high);
  L_InsertData(from, L_AT_TAIL, L_Nop, &low);
  EXPECT_EQ(L_AddList(list, from), 1);
  EXPECT_EQ(L_AddList(from, from), 1);
  EXPECT_EQ(NumbersOf(from), (Numbers{2, 0, 2, 0}));
  L_FreeList(&from, L_Nop);
  EXPECT_EQ(NumbersOf(list), (Numbers{0, 1, 3, 4, 2, 2, 0}));
  L_FreeList(&list, L_Nop);
}

// Compares with a list that does each insertion at once: after all data that may be before it. Modes and orders take
// turns, so the list itself is mostly not in order.
TEST(List, AnyMixOfModesOrdersAndReadsIsAsOneInsertionAfterTheOther) {
  const auto descending = [](const void* a, const void* b) { return MayBeBefore(b, a); };
  std::mt19937 random(11);
  mem_desc* heap = HEAP_Create(0, 0, 0);
  for (int round = 0; round < 300; ++round) {
    Item items[60];
    std::vector<Item*> expected;
    L_list* list = L_Create(round % 2 == 0 ? heap : nullptr);
    ASSERT_EQ(L_First(list), nullptr);
    const unsigned sortedShare = random() % 8;
    for (int i = 0; i < 60; ++i) {
      items[i] = {static_cast<int>(random() % 12), i};
      const int mode = random() % 8 < sortedShare ? L_SORTED : static_cast<int>(random() % 2);
      const L_Compare compare = random() % 16 == 0 ? L_Compare(descending) : MayBeBefore;
      size_t place = mode == L_AT_HEAD ? 0 : expected.size();
      while (mode == L_SORTED && place > 0 && compare(expected[place - 1], &items[i]) != 1) --place;
      expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(place), &items[i]);
      ASSERT_EQ(L_InsertData(list, mode, compare, &items[i]), 1);
      if (random() % 16 == 0) {
        ASSERT_EQ(L_First(list), expected[0]);
      }
    }
    Numbers numbers;
    for (const Item* item : expected) numbers.push_back(item->number);
    ASSERT_EQ(NumbersOf(list), numbers) << round;
    L_FreeList(&list, L_Nop);
    ASSERT_EQ(list, nullptr);
  }
  HEAP_Release(heap);
}

TEST(List, SortedInsertionCostsNLogNComparisonsInAnyOrder) {
  constexpr int COUNT = 30000;
  std::mt19937 random(7);
  using Key = int (*)(int index, unsigned random);
  for (const Key key :
       {Key([](int, unsigned r) { return static_cast<int>(r % 100000); }),
        Key([](int, unsigned r) { return static_cast<int>(r % 3); }), Key([](int i, unsigned) { return i; }),
        Key([](int i, unsigned) { return -i; }), Key([](int, unsigned) { return 0; }),
        Key([](int i, unsigned) { return i % 2 == 0 ? i : -i; }), Key([](int i, unsigned) { return i ^ 0x2AAA; })}) {
    std::vector<Item> items(COUNT);
    for (int i = 0; i < COUNT; ++i) items[static_cast<size_t>(i)] = {key(i, static_cast<unsigned>(random())), i};
    comparisons = 0;
    L_list* list = L_Create(nullptr);
    for (Item& item : items) ASSERT_EQ(L_InsertData(list, L_SORTED, MayBeBefore, &item), 1);
    int count = 0;
    for (const Item* before = nullptr; const void* data = count == 0 ? L_First(list) : L_Next(list); ++count) {
      const auto* item = static_cast<const Item*>(data);
      ASSERT_TRUE(before == nullptr || std::pair(before->key, before->number) < std::pair(item->key, item->number));
      before = item;
    }
    EXPECT_EQ(count, COUNT);
    EXPECT_LT(static_cast<double>(comparisons), COUNT * (std::log2(COUNT) + 2));
    L_FreeList(&list, L_Nop);
  }
}

TEST(List, WithoutMemoryOrListNothingChanges) {
  Item items[] = {{0, 0}, {1, 1}};
  mem_desc* heap = HEAP_Create(0, 0, 0);
  L_list* list = L_Create(heap);
  L_InsertData(list, L_SORTED, MayBeBefore, &items[1]);
  L_InsertData(list, L_SORTED, MayBeBefore, &items[0]);
  HEAP_FailFrom(1);
  for (const int mode : {L_AT_HEAD, L_AT_TAIL, L_SORTED}) {
    EXPECT_EQ(L_InsertData(list, mode, MayBeBefore, &items[1]), 0);
  }
  EXPECT_EQ(L_AddList(list, list), 0);
  EXPECT_EQ(L_Create(heap), nullptr);
  HEAP_FailFrom(0);
  EXPECT_EQ(NumbersOf(list), (Numbers{0, 1}));
  EXPECT_EQ(L_InsertData(nullptr, L_AT_TAIL, L_Nop, &items[0]), 0);
  EXPECT_EQ(L_AddList(nullptr, list), 0);
  EXPECT_EQ(L_AddList(list, nullptr), 1);
  EXPECT_EQ(L_First(nullptr), nullptr);
  EXPECT_EQ(L_Next(nullptr), nullptr);
  L_list* none = nullptr;
  L_FreeList(&none, L_Nop);
  L_FreeList(nullptr, L_Nop);
  HEAP_Release(heap);
}

}  // namespace
