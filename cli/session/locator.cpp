#include "session/locator.h"

#include "session/fill_reason.h"

namespace elfload {

Locator::Locator(Session& session) : session_(session), tracker_(session.Modules()) {
  for (DescModule* module : session.Modules()) {
    if (module->ext == nullptr || module->ext->addrRanges == nullptr) withoutRanges_.push_back(module);
  }
}

Place Locator::Locate(uint32_t address) {
  Place place;
  reasons_.clear();
  Decide(address, place);
  place.filled = tracker_.Take(session_.Modules().size());
  for (const size_t index : place.filled) {
    const DescModule* module = session_.Modules()[index];
    const auto reason = reasons_.find(module);
    place.reasons.push_back(reason != reasons_.end() ? reason->second : WhyAddressFills(module, FIND_CODE));
  }
  return place;
}

void Locator::Decide(uint32_t address, Place& place) {
  DescModule* found = nullptr;
  if (session_.Modules().empty()) return;
  const bool isNamed = session_.FindAddress(address, FIND_CODE, found);
  if (isNamed && Settle("finder", found, address, place)) return;
  if (DecideByRanges(found, address, place)) return;
  if (DecideByProcedures(found, address, place, true)) return;
  if (!isNamed) DecideByProcedures(found, address, place, false);
}

bool Locator::DecideByRanges(const DescModule* tried, uint32_t address, Place& place) {
  const auto& modules = session_.Modules();
  for (size_t i = FirstWithRange(address); i < modules.size(); i++) {
    if (modules[i] == tried || FindRangeAt(modules[i], address) == nullptr) continue;
    if (Settle("addrRanges", modules[i], address, place)) return true;
  }
  return false;
}

// Index of the first unit that has a range with the address, or the number of units.
size_t Locator::FirstWithRange(uint32_t address) {
  const auto& modules = session_.Modules();
  if (!rangeQuestions_.IsMany()) return 0;  // the caller's walk asks all
  if (!rangeMap_) {
    std::vector<IntervalMap::Interval> intervals;
    for (size_t i = 0; i < modules.size(); i++) {
      const DescAddrRange* range = modules[i]->ext != nullptr ? modules[i]->ext->addrRanges : nullptr;
      for (; range != nullptr; range = range->next) {
        intervals.push_back({range->low, uint64_t{range->high} + 1});
        rangeOwners_.push_back(i);
      }
    }
    rangeMap_.emplace(intervals);
  }
  const uint32_t range = rangeMap_->Find(address);
  return range != IntervalMap::NONE ? rangeOwners_[range] : modules.size();
}

bool Locator::DecideByProcedures(const DescModule* tried, uint32_t address, Place& place, bool areFilled) {
  for (DescModule* module : withoutRanges_) {
    if (module == tried || (module->loadedKinds != 0) != areFilled) continue;
    Fill(module, "it has no address ranges, so its procedures were searched");
    if (LookupOf(module).FindProc(address) == nullptr) continue;
    if (Settle("procedures", module, address, place)) return true;
  }
  return false;
}

// Takes `module` as the answer. False when it has neither procedure nor line at the address: then it is the answer only
// until something better is found.
bool Locator::Settle(const char* decidedBy, DescModule* module, uint32_t address, Place& place) {
  Fill(module, "one of its address ranges holds the address");
  const DescProc* proc = LookupOf(module).FindProc(address);
  const std::optional<LineRow> row = FindRow(module, proc, address);
  const bool isGood = proc != nullptr || row.has_value();
  if (!isGood && place.module != nullptr) return false;
  place.decidedBy = decidedBy;
  place.module = module;
  place.proc = proc;
  place.row = row;
  return isGood;
}

std::optional<LineRow> Locator::FindRow(DescModule* module, const DescProc* proc, uint32_t address) {
  UnitLookup& lookup = LookupOf(module);
  if (proc != nullptr) return lookup.FindRow(proc->lowPc, address);
  if (const DescAddrRange* range = lookup.FindRange(address)) return lookup.FindRow(range->low, address);
  const bool isInside = module->hasRange != 0 && address >= module->lowPc && address < module->highPc;
  return lookup.FindRow(isInside ? module->lowPc : address, address);
}

void Locator::Fill(DescModule* module, const char* reason) {
  if (module->loadedKinds != 0) return;
  reasons_.emplace(module, reason);
  session_.Extend(module);
}

}  // namespace elfload
