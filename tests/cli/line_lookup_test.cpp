#include "line_lookup.h"

#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "fill_tracker.h"

namespace elfload {
namespace {

char emptyName[] = "";

struct Block {
  explicit Block(std::vector<uint32_t> addresses_, std::vector<uint32_t> lines_)
      : addresses(std::move(addresses_)), lines(std::move(lines_)) {
    record.fileName = emptyName;
    record.count = static_cast<int32_t>(addresses.size());
    record.addresses = addresses.data();
    record.lines = lines.data();
  }
  std::vector<uint32_t> addresses, lines;
  DescLineBlock record{};
};

std::optional<uint32_t> LineAt(const LineLookup& lines, uint32_t low, uint32_t address) {
  const LineRow* row = lines.Find(low, address);
  return row != nullptr ? std::optional(row->line) : std::nullopt;
}

TEST(LineLookup, FindsTheLastRowAtOrBelowAnAddressInItsBounds) {
  // Two sequences in one block, the higher one first, then a block of another file.
  Block first({0x200, 0x204, 0x204, 0x210, 0x100, 0x108}, {10, 11, 12, 13, 1, 2});
  Block second({0x10C}, {30});
  first.record.next = &second.record;
  DescModule module{};
  module.lineBlocks = &first.record;
  const LineLookup lines(&module);
  EXPECT_EQ(LineAt(lines, 0x200, 0x203), 10u);
  EXPECT_EQ(LineAt(lines, 0x200, 0x204), 12u) << "the row before covers nothing";
  EXPECT_EQ(LineAt(lines, 0x100, 0x10B), 2u);
  EXPECT_EQ(LineAt(lines, 0x100, 0x10C), 30u);
  EXPECT_EQ(LineAt(lines, 0x180, 0x190), std::nullopt) << "a row of other code, below the bounds";
  EXPECT_EQ(LineAt(lines, 0x000, 0x0FF), std::nullopt);
}

TEST(LineLookup, TheRowOfAUnitWithoutALineTableIsNone) {
  Block block({0xFFFFFFFF}, {0xFFFFFFFF});
  DescModule module{};
  module.lineBlocks = &block.record;
  EXPECT_EQ(LineLookup(&module).Find(0, 0xFFFFFFFF), nullptr);
}

TEST(FindProcAt, ProceduresGoBeforeLabelsBeforeLineInfo) {
  char label[] = "again", function[] = "run", inner[] = "inner", lineInfo[] = "Line Info from 0x100 to 0x200";
  char undefinedName[] = "undefined";
  DescType undefined{nullptr, undefinedName, NO_KEY, 0, KIND_BASIC, {0}, {0}, {0}};
  std::deque<DescProc> procs;
  const auto add = [&procs](char* name, DescType* result, uint32_t low, uint32_t high) {
    DescProc proc{};
    proc.name = name;
    proc.returnType = result;
    proc.lowPc = low;
    proc.highPc = high;
    procs.push_back(proc);
    if (procs.size() > 1) procs[procs.size() - 2].next = &procs.back();
  };
  add(label, &undefined, 0x110, 0x140);
  add(function, nullptr, 0x100, 0x120);
  add(inner, nullptr, 0x118, 0x120);
  add(lineInfo, nullptr, 0x100, 0x200);
  DescModule module{};
  module.procs = &procs.front();
  const auto nameAt = [&module](uint32_t address) {
    const DescProc* proc = FindProcAt(&module, address);
    return std::string(proc != nullptr ? proc->name : "");
  };
  EXPECT_EQ(nameAt(0x110), "run");
  EXPECT_EQ(nameAt(0x11F), "inner");
  EXPECT_EQ(nameAt(0x120), "again");
  EXPECT_EQ(nameAt(0x140), lineInfo);
  EXPECT_EQ(nameAt(0x200), "");
}

TEST(FillTracker, ReportsEachUnitOnceAndOnlyUpToTheOneFound) {
  std::vector<DescModule> records(6);
  std::vector<DescModule*> modules;
  modules.reserve(records.size());
  for (DescModule& record : records) modules.push_back(&record);
  FillTracker tracker(modules);
  EXPECT_EQ(tracker.Take(5), std::vector<size_t>());
  for (const size_t i : {0u, 2u, 5u}) records[i].loadedKinds = 7;
  EXPECT_EQ(tracker.Take(3), (std::vector<size_t>{0, 2}));
  records[1].loadedKinds = 7;
  EXPECT_EQ(tracker.Take(4), (std::vector<size_t>{1}));
  EXPECT_EQ(tracker.Take(6), (std::vector<size_t>{5}));
  EXPECT_EQ(tracker.Take(6), std::vector<size_t>());
}

}  // namespace
}  // namespace elfload
