#include "session/unit_lookup.h"

#include <algorithm>
#include <tuple>

#include "session/proc_kind.h"

namespace elfload {

namespace {

// The better of two procedures ranks higher.
auto Rank(const DescProc* proc) {
  return std::make_tuple(KindOf(proc), proc->lowPc, ~proc->highPc);
}

const DescProc* WalkProcs(const DescProc* procs, uint32_t address) {
  const DescProc* best = nullptr;
  for (const DescProc* proc = procs; proc != nullptr; proc = proc->next) {
    if (address < proc->lowPc || address >= proc->highPc) continue;
    if (best == nullptr || Rank(proc) > Rank(best)) best = proc;
  }
  return best;
}

// Calls `use` with each row, in program order.
template <typename Use>
void ForEachRow(const DescModule* module, Use use) {
  constexpr uint32_t noLine = 0xFFFFFFFF;  // the one row of a unit without a line table
  for (const DescLineBlock* block = module->lineBlocks; block != nullptr; block = block->next) {
    if (block->addresses == nullptr || block->lines == nullptr) continue;
    for (int32_t i = 0; i < block->count; i++) {
      if (block->lines[i] == noLine && block->addresses[i] == noLine) continue;
      use(block, i);
    }
  }
}

LineRow RowAt(const DescLineBlock* block, int32_t i) {
  return {block->addresses[i], block->lines[i], block->columns != nullptr ? block->columns[i] : 0, block->fileName};
}

std::optional<LineRow> WalkRows(const DescModule* module, uint32_t low, uint32_t address) {
  const DescLineBlock* found = nullptr;
  int32_t number = 0;
  uint32_t best = low;
  ForEachRow(module, [&](const DescLineBlock* block, int32_t i) {
    if (block->addresses[i] > address || block->addresses[i] < best) return;
    best = block->addresses[i];
    found = block;
    number = i;
  });
  return found != nullptr ? std::optional(RowAt(found, number)) : std::nullopt;
}

}  // namespace

const DescProc* UnitLookup::FindProc(uint32_t address) {
  if (!procQuestions_.IsMany()) return WalkProcs(module_->procs, address);
  if (!procMap_) {
    std::vector<std::pair<decltype(Rank(nullptr)), const DescProc*>> ranked;
    for (const DescProc* proc = module_->procs; proc != nullptr; proc = proc->next) {
      ranked.push_back({Rank(proc), proc});
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<IntervalMap::Interval> intervals;
    for (const auto& [rank, proc] : ranked) {
      procs_.push_back(proc);
      intervals.push_back({proc->lowPc, proc->highPc});
    }
    procMap_.emplace(intervals);
  }
  const uint32_t found = procMap_->Find(address);
  return found != IntervalMap::NONE ? procs_[found] : nullptr;
}

std::optional<LineRow> UnitLookup::FindRow(uint32_t low, uint32_t address) {
  if (!rowQuestions_.IsMany()) return WalkRows(module_, low, address);
  if (!rows_) {
    rows_.emplace();
    ForEachRow(module_, [this](const DescLineBlock* block, int32_t i) { rows_->push_back(RowAt(block, i)); });
    std::stable_sort(rows_->begin(), rows_->end(),
                     [](const LineRow& a, const LineRow& b) { return a.address < b.address; });
  }
  const auto after = std::upper_bound(rows_->begin(), rows_->end(), address,
                                      [](uint32_t wanted, const LineRow& row) { return wanted < row.address; });
  if (after == rows_->begin() || std::prev(after)->address < low) return std::nullopt;
  return *std::prev(after);
}

const DescAddrRange* UnitLookup::FindRange(uint32_t address) {
  if (!rangeQuestions_.IsMany()) return FindRangeAt(module_, address);
  if (!rangeMap_) {
    std::vector<IntervalMap::Interval> intervals;
    const DescAddrRange* range = module_->ext != nullptr ? module_->ext->addrRanges : nullptr;
    for (; range != nullptr; range = range->next) {
      ranges_.push_back(range);
      intervals.push_back({range->low, uint64_t{range->high} + 1});
    }
    rangeMap_.emplace(intervals);
  }
  const uint32_t found = rangeMap_->Find(address);
  return found != IntervalMap::NONE ? ranges_[found] : nullptr;
}

const DescAddrRange* FindRangeAt(const DescModule* module, uint32_t address) {
  const DescAddrRange* range = module->ext != nullptr ? module->ext->addrRanges : nullptr;
  while (range != nullptr && (address < range->low || address > range->high)) range = range->next;
  return range;
}

}  // namespace elfload
