#include "session/line_lookup.h"

#include <algorithm>
#include <tuple>

#include "session/proc_kind.h"

namespace elfload {

LineLookup::LineLookup(const DescModule* module) {
  constexpr uint32_t noLine = 0xFFFFFFFF;  // the one row of a unit without a line table
  for (const DescLineBlock* block = module->lineBlocks; block != nullptr; block = block->next) {
    if (block->addresses == nullptr || block->lines == nullptr) continue;
    for (int32_t i = 0; i < block->count; i++) {
      if (block->lines[i] == noLine && block->addresses[i] == noLine) continue;
      const uint32_t column = block->columns != nullptr ? block->columns[i] : 0;
      rows_.push_back({block->addresses[i], block->lines[i], column, block->fileName});
    }
  }
  std::stable_sort(rows_.begin(), rows_.end(),
                   [](const LineRow& a, const LineRow& b) { return a.address < b.address; });
}

const LineRow* LineLookup::Find(uint32_t low, uint32_t address) const {
  const auto behind = std::upper_bound(rows_.begin(), rows_.end(), address,
                                       [](uint32_t wanted, const LineRow& row) { return wanted < row.address; });
  if (behind == rows_.begin()) return nullptr;
  const LineRow& row = *(behind - 1);
  return row.address >= low ? &row : nullptr;
}

const DescProc* FindProcAt(const DescModule* module, uint32_t address) {
  const auto rank = [](const DescProc* proc) { return std::make_tuple(KindOf(proc), proc->lowPc, ~proc->highPc); };
  const DescProc* best = nullptr;
  for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    if (address < proc->lowPc || address >= proc->highPc) continue;
    if (best == nullptr || rank(proc) > rank(best)) best = proc;
  }
  return best;
}

const DescAddrRange* FindRangeAt(const DescModule* module, uint32_t address) {
  if (module->ext == nullptr) return nullptr;
  for (const DescAddrRange* range = module->ext->addrRanges; range != nullptr; range = range->next) {
    if (address >= range->low && address <= range->high) return range;
  }
  return nullptr;
}

}  // namespace elfload
