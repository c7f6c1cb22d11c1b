#include "session/unit_lookup.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "support/random.h"

namespace elfload {
namespace {

char emptyName[] = "";

// The first questions are answered by a walk, later ones by an index: each fact is asked of both.
class UnitLookupTest : public testing::Test {
 protected:
  // What both say.
  template <typename Ask>
  auto Both(Ask ask) {
    UnitLookup indexed(&module_);
    for (int i = 0; i < QuestionCount::WALKS; i++) ask(indexed);
    UnitLookup walking(&module_);
    const auto walked = ask(walking);
    EXPECT_EQ(ask(indexed), walked);
    return walked;
  }
  uint32_t LineAt(uint32_t low, uint32_t address) {
    return Both([&](UnitLookup& lookup) {
      const auto row = lookup.FindRow(low, address);
      return row ? row->line : 0;
    });
  }
  const DescProc* ProcAt(uint32_t address) {
    return Both([&](UnitLookup& lookup) { return lookup.FindProc(address); });
  }
  const char* NameAt(uint32_t address) {
    const DescProc* proc = ProcAt(address);
    return proc != nullptr ? proc->name : "";
  }
  void Add(char* name, DescType* result, uint32_t low, uint32_t high) {
    DescProc& proc = procs_.emplace_back();
    proc.name = name;
    proc.returnType = result;
    proc.lowPc = low;
    proc.highPc = high;
    if (procs_.size() > 1) procs_[procs_.size() - 2].next = &proc;
    module_.procs = &procs_.front();
  }

  std::deque<DescProc> procs_;
  DescModule module_{};
};

TEST_F(UnitLookupTest, FindsTheLastRowAtOrBelowAnAddressInItsBounds) {
  // Two sequences in one block, the higher one first, then a block of another file, then that of a unit without lines.
  uint32_t addresses[] = {0x200, 0x204, 0x204, 0x210, 0x100, 0x108, 0x10C, 0xFFFFFFFF};
  uint32_t numbers[] = {10, 11, 12, 13, 1, 2, 30, 0xFFFFFFFF};
  DescLineBlock none{nullptr, emptyName, 1, &addresses[7], &numbers[7], nullptr};
  DescLineBlock second{&none, emptyName, 1, &addresses[6], &numbers[6], nullptr};
  DescLineBlock first{&second, emptyName, 6, addresses, numbers, nullptr};
  module_.lineBlocks = &first;
  EXPECT_EQ(LineAt(0x200, 0x203), 10u);
  EXPECT_EQ(LineAt(0x200, 0x204), 12u) << "the row before covers nothing";
  EXPECT_EQ(LineAt(0x100, 0x10B), 2u);
  EXPECT_EQ(LineAt(0x100, 0x10C), 30u);
  EXPECT_EQ(LineAt(0x180, 0x190), 0u) << "a row of other code, below the bounds";
  EXPECT_EQ(LineAt(0x000, 0x0FF), 0u);
  module_.lineBlocks = &none;
  EXPECT_EQ(LineAt(0, 0xFFFFFFFF), 0u);
}

TEST_F(UnitLookupTest, ProceduresGoBeforeLabelsBeforeLineInfo) {
  char label[] = "again", function[] = "run", inner[] = "inner", lineInfo[] = "Line Info from 0x100 to 0x200";
  char undefinedName[] = "undefined";
  DescType undefined{nullptr, undefinedName, NO_KEY, 0, KIND_BASIC, {0}, {0}, {0}};
  Add(label, &undefined, 0x110, 0x140);
  Add(function, nullptr, 0x100, 0x120);
  Add(inner, nullptr, 0x118, 0x120);
  Add(lineInfo, nullptr, 0x100, 0x200);
  EXPECT_STREQ(NameAt(0x110), "run");
  EXPECT_STREQ(NameAt(0x11F), "inner");
  EXPECT_STREQ(NameAt(0x120), "again");
  EXPECT_STREQ(NameAt(0x140), lineInfo);
  EXPECT_STREQ(NameAt(0x200), "");
}

TEST_F(UnitLookupTest, AnIndexAnswersAsAWalkDoes) {
  Random random(1);
  for (int i = 0; i < 60; i++) Add(emptyName, nullptr, random.below(100), random.below(100));  // some hold nothing
  Add(emptyName, nullptr, 90, 0xFFFFFFFF);
  std::deque<DescAddrRange> ranges;
  for (uint32_t i = 0; i < 20; i++) {
    const uint32_t low = random.below(90);
    ranges.push_back({nullptr, low, low + random.below(9) - 1});
    if (i > 0) ranges[i - 1].next = &ranges[i];
  }
  DescModuleExt ext{};
  ext.addrRanges = &ranges.front();
  module_.ext = &ext;
  ranges.back().high = 0xFFFFFFFF;
  EXPECT_EQ(ProcAt(0xFFFFFFFE), &procs_.back());
  EXPECT_EQ(ProcAt(0xFFFFFFFF), nullptr);
  EXPECT_EQ(Both([](UnitLookup& lookup) { return lookup.FindRange(0xFFFFFFFF); }), &ranges.back());
  for (uint32_t address = 0; address < 110; address++) {
    ProcAt(address);
    Both([&](UnitLookup& lookup) { return lookup.FindRange(address); });
  }
}

}  // namespace
}  // namespace elfload
