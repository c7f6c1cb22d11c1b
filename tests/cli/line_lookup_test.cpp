#include "session/line_lookup.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

namespace elfload {
namespace {

char emptyName[] = "";

TEST(LineLookup, FindsTheLastRowAtOrBelowAnAddressInItsBounds) {
  // Two sequences in one block, the higher one first, then a block of another file, then that of a unit without lines.
  std::vector<uint32_t> addresses = {0x200, 0x204, 0x204, 0x210, 0x100, 0x108, 0x10C, 0xFFFFFFFF};
  std::vector<uint32_t> numbers = {10, 11, 12, 13, 1, 2, 30, 0xFFFFFFFF};
  DescLineBlock none{nullptr, emptyName, 1, &addresses[7], &numbers[7], nullptr};
  DescLineBlock second{&none, emptyName, 1, &addresses[6], &numbers[6], nullptr};
  DescLineBlock first{&second, emptyName, 6, addresses.data(), numbers.data(), nullptr};
  DescModule module{};
  module.lineBlocks = &first;
  const LineLookup lines(&module);
  const auto lineAt = [&lines](uint32_t low, uint32_t address) {
    const LineRow* row = lines.Find(low, address);
    return row != nullptr ? row->line : 0;
  };
  EXPECT_EQ(lineAt(0x200, 0x203), 10u);
  EXPECT_EQ(lineAt(0x200, 0x204), 12u) << "the row before covers nothing";
  EXPECT_EQ(lineAt(0x100, 0x10B), 2u);
  EXPECT_EQ(lineAt(0x100, 0x10C), 30u);
  EXPECT_EQ(lineAt(0x180, 0x190), 0u) << "a row of other code, below the bounds";
  EXPECT_EQ(lineAt(0x000, 0x0FF), 0u);
  module.lineBlocks = &none;
  EXPECT_EQ(LineLookup(&module).Find(0, 0xFFFFFFFF), nullptr);
}

TEST(FindProcAt, ProceduresGoBeforeLabelsBeforeLineInfo) {
  char label[] = "again", function[] = "run", inner[] = "inner", lineInfo[] = "Line Info from 0x100 to 0x200";
  char undefinedName[] = "undefined";
  DescType undefined{nullptr, undefinedName, NO_KEY, 0, KIND_BASIC, {0}, {0}, {0}};
  std::deque<DescProc> procs;
  const auto add = [&procs](char* name, DescType* result, uint32_t low, uint32_t high) {
    DescProc& proc = procs.emplace_back();
    proc.name = name;
    proc.returnType = result;
    proc.lowPc = low;
    proc.highPc = high;
    if (procs.size() > 1) procs[procs.size() - 2].next = &proc;
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

}  // namespace
}  // namespace elfload
