#include "dwarf2/entries/scope_names.h"

#include <algorithm>

void ScopeNames::Empty() {
  scopes_.Empty();
  units_.Empty();
  unitsByStart_.Empty();
  current_ = NONE;
}

bool ScopeNames::BeginUnit(uint32_t start) {
  const uint32_t number = units_.Count();
  current_ = NONE;
  // A number serves as a record, since units move when there are more of them.
  auto* record = reinterpret_cast<void*>(uintptr_t{number} + 1);  // NOLINT(performance-no-int-to-ptr)
  return units_.Push({start, scopes_.Count(), scopes_.Count()}) && unitsByStart_.Insert(start, record);
}

const ScopeNames::Unit* ScopeNames::FindUnit(uint32_t start) const {
  const auto* found = unitsByStart_.Find<char>(start, [this, start](const char* number) {
    return units_[static_cast<uint32_t>(reinterpret_cast<uintptr_t>(number) - 1)].start == start;
  });
  return found != nullptr ? &units_[static_cast<uint32_t>(reinterpret_cast<uintptr_t>(found) - 1)] : nullptr;
}

uint32_t ScopeNames::Open(uint32_t entry, uint32_t tag, char* name, char* whole) {
  if (units_.Count() == 0 || !scopes_.Push({entry + 1, NONE, current_, tag, name, whole})) {
    return NONE;
  }
  current_ = scopes_.Count() - 1;
  units_[units_.Count() - 1].last = scopes_.Count();
  return current_;
}

void ScopeNames::Close(uint32_t number, uint32_t end) {
  if (number != NONE) {
    scopes_[number].end = end;
    current_ = scopes_[number].parent;
  }
}

uint32_t ScopeNames::Find(uint32_t unitStart, uint32_t entry) const {
  const Unit* unit = FindUnit(unitStart);
  if (unit == nullptr || unit->first == unit->last) {
    return NONE;
  }
  const Scope* const first = &scopes_[unit->first];
  const Scope* const last = first + (unit->last - unit->first);
  const Scope* after =
      std::upper_bound(first, last, entry, [](uint32_t number, const Scope& scope) { return number < scope.begin; });
  uint32_t number = after != first ? static_cast<uint32_t>(after - 1 - first) + unit->first : NONE;
  while (number != NONE && scopes_[number].end <= entry) {
    number = scopes_[number].parent;
  }
  return number;
}
