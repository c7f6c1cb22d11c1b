// What the loader does on records alone: line-info procedures and module names, without memory too.
#include "loader/line_info_procs.h"

#include <gtest/gtest.h>

#include "loader/unique_names.h"
#include "support/describe.h"
#include "support/random.h"

namespace {

struct Range {
  uint32_t low, high;
};

// The rule itself: a range against all procedures in list order, those that were added meanwhile included.
void Cover(std::vector<Range>& procs, uint32_t low, uint32_t high) {
  if (low >= high) return;
  for (size_t i = 0; i < procs.size(); ++i) {
    const Range proc = procs[i];
    if (proc.low >= proc.high) continue;
    if (proc.low <= low) {
      if (high <= proc.high) return;
      if (low < proc.high) low = proc.high;
    }
    if (proc.low <= high && high < proc.high) high = proc.low;
    if (low < proc.low && proc.high < high) {
      Cover(procs, low, proc.low);
      low = proc.high;
    }
  }
  if (low < high) procs.push_back({low, high});
}

// A module as a fill leaves it, with ranges of line rows.
class Records : public testing::Test {
 protected:
  ~Records() override {
    HEAP_FailFrom(0);
    L_FreeList(&ranges_, L_Nop);
    HEAP_Release(heap_);
  }

  DescModule* Module(const std::vector<Range>& procs, char* name = EmptyString()) {
    auto* module = records_.New<DescModule>();
    module->heap = heap_;
    module->name = name;
    ListTail<DescProc> tail(&module->procs);
    for (const Range& range : procs) {
      auto* proc = records_.New<DescProc>();
      proc->name = EmptyString();
      proc->lowPc = range.low;
      proc->highPc = range.high;
      tail.Append(proc);
    }
    return module;
  }
  void AddRange(uint32_t low, uint32_t last) {
    auto* range = records_.New<DescLineRange>();
    *range = {low, last};
    L_InsertData(ranges_, L_AT_TAIL, L_Nop, range);
  }
  void Begin() {
    L_FreeList(&ranges_, L_Nop);
    HEAP_Release(heap_);
    ranges_ = L_Create(nullptr);
    records_.Use(heap_ = HEAP_Create(0, 0, 0));
    allowance_.Grant(10000);
  }

  Failure failure_;
  Allowance allowance_;
  mem_desc* heap_ = nullptr;
  L_list* ranges_ = nullptr;
  RecordHeap records_{&failure_, &allowance_};
};

TEST_F(Records, LineRangesAreCoveredAsTheRuleSays) {
  Random random(3);
  for (int round = 0; round < 3000; ++round) {
    Begin();
    const uint32_t addresses = 2 + random.below(round % 8 == 0 ? 2000 : 30);
    const uint32_t base = round % 5 == 0 ? 0U - addresses : 0;  // up to the last address
    const uint32_t size = 1 + random.below(addresses);
    std::vector<Range> procs;
    for (uint32_t count = random.below(round % 8 == 0 ? 300 : 12); count > 0; --count) {
      const uint32_t low = base + random.below(addresses);
      procs.push_back({low, low + random.below(size)});
    }
    if (round % 3 == 0) std::sort(procs.begin(), procs.end(), [](Range a, Range b) { return a.low < b.low; });
    DescModule* module = Module(procs);
    const size_t own = procs.size();
    for (uint32_t count = 1 + random.below(12); count > 0; --count) {
      const uint32_t low = base + random.below(addresses);
      const uint32_t last = base == 0 ? low + random.below(addresses) : 0xFFFFFFFF - random.below(0U - low);
      AddRange(low, last);
      Cover(procs, low, last == 0xFFFFFFFF ? last : last + 1);
    }
    AddLineInfoProcs(module, ranges_, false, &allowance_);
    Texts expected;
    for (const Range& proc : procs) {
      const std::string name = "Line Info from 0x" + Hex(proc.low) + " to 0x" + Hex(proc.high);
      expected.push_back((expected.size() < own ? "" : name) + " " + Hex(proc.low) + "-" + Hex(proc.high));
    }
    ASSERT_EQ(Described(module->procs), expected) << round;
  }
}

// Address by address: what no procedure covers of a range is covered from its first row on, if it has one.
TEST_F(Records, OnlyRowsOutsideProceduresAreCovered) {
  Random random(4);
  for (int round = 0; round < 2000; ++round) {
    Begin();
    constexpr uint32_t ADDRESSES = 60;
    std::vector<Range> procs;
    std::vector<bool> isCovered(ADDRESSES + 1);
    std::vector<bool> hasRow(ADDRESSES + 1);
    for (uint32_t count = random.below(6); count > 0; --count) {
      const uint32_t low = random.below(ADDRESSES);
      procs.push_back({low, low + random.below(ADDRESSES - low)});
      std::fill(isCovered.begin() + low, isCovered.begin() + procs.back().high, true);
    }
    DescModule* module = Module(procs);
    auto* block = records_.New<DescLineBlock>();
    block->addresses = records_.NewArray<uint32_t>(ADDRESSES);
    module->lineBlocks = block;
    Texts expected = Described(module->procs);
    for (uint32_t count = 1 + random.below(4); count > 0; --count) {
      const uint32_t low = random.below(ADDRESSES);
      const uint32_t last = low + random.below(ADDRESSES - low);
      AddRange(low, last);
      for (const uint32_t row : {last, low, low + random.below(last - low + 1)}) {
        block->addresses[block->count++] = row;
        hasRow[row] = true;
      }
    }
    for (void* data = L_First(ranges_); data != nullptr; data = L_Next(ranges_)) {
      const auto* range = static_cast<const DescLineRange*>(data);
      for (uint32_t low = range->low; low <= range->high; ++low) {
        uint32_t high = low;
        for (; high <= range->high && !isCovered[high]; ++high) isCovered[high] = true;
        while (low < high && !hasRow[low]) ++low;
        if (low == high) continue;
        expected.push_back("Line Info from 0x" + Hex(low) + " to 0x" + Hex(high) + " " + Hex(low) + "-" + Hex(high));
        low = high;
      }
    }
    AddLineInfoProcs(module, ranges_, true, &allowance_);
    ASSERT_EQ(Described(module->procs), expected) << round;
  }
}

TEST_F(Records, WithoutMemoryARangeStaysUncovered) {
  const Texts covered = {" 10-20", "Line Info from 0x0 to 0x10 0-10", "Line Info from 0x20 to 0x31 20-31"};
  Texts procs;
  for (size_t call = 1; procs != covered; ++call) {
    Begin();
    DescModule* module = Module({{0x10, 0x20}});
    AddRange(0, 0x30);
    HEAP_FailFrom(call, 1);
    AddLineInfoProcs(module, ranges_, false, &allowance_);
    const bool failed = HEAP_FailFrom(0) != 0;
    procs = Described(module->procs);
    EXPECT_EQ(procs != covered, failed) << call;  // a record, or its name
    EXPECT_EQ(procs[0], covered[0]);
  }
}

}  // namespace
