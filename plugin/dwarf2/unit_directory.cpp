#include "dwarf2/unit_directory.h"

#include <algorithm>
#include <cstring>

namespace {

bool IsSignatureBelow(const UnitPlace& unit, uint32_t signature, uint32_t signatureHigh) {
  return unit.signatureHigh != signatureHigh ? unit.signatureHigh < signatureHigh : unit.signature < signature;
}

}  // namespace

const UnitPlace* UnitDirectory::UnitOf(uint32_t entry) const {
  const UnitPlace* const first = units_;
  const UnitPlace* const last = first + count_;
  const UnitPlace* after =
      std::upper_bound(first, last, entry, [](uint32_t number, const UnitPlace& unit) { return number < unit.start; });
  if (after == first || entry >= after[-1].end) {
    return nullptr;
  }
  return after - 1;
}

bool UnitDirectory::TypeOf(uint32_t signature, uint32_t signatureHigh, uint32_t* entry) const {
  const uint32_t* const first = signatures_;
  const uint32_t* const last = first + signatureCount_;
  const uint32_t* found = std::lower_bound(first, last, 0U, [&](uint32_t number, uint32_t) {
    return IsSignatureBelow(units_[number], signature, signatureHigh);
  });
  if (found == last || units_[*found].signature != signature || units_[*found].signatureHigh != signatureHigh) {
    return false;
  }
  *entry = units_[*found].typeEntry;
  return true;
}

UnitForms UnitDirectory::FormsOf(const UnitPlace& unit, const Dwarf2Rules& rules) {
  return {
      .addressSize = unit.addressSize,
      .unitBase = unit.start,
      .version = unit.version,
      .offsetSize = unit.offsetSize,
      .rules = &rules,
      .strOffsetsBase = unit.strOffsetsBase,
      .addrBase = unit.addrBase,
      .loclistsBase = unit.loclistsBase,
      .rnglistsBase = unit.rnglistsBase,
      .lowPc = unit.lowPc,
  };
}

bool UnitList::MoveTo(UnitDirectory* directory, mem_desc* heap) {
  const uint32_t count = units_.Count();
  const auto typeCount = static_cast<uint32_t>(
      std::count_if(units_.begin(), units_.end(), [](const UnitPlace& unit) { return unit.kind == UnitKind::type; }));
  if (count == 0) {
    return true;
  }
  auto* units = static_cast<UnitPlace*>(HEAP_Get(heap, count * sizeof(UnitPlace)));
  auto* signatures = static_cast<uint32_t*>(HEAP_Get(heap, (typeCount + 1) * sizeof(uint32_t)));
  if (units == nullptr || signatures == nullptr) {
    return false;
  }
  std::memcpy(units, units_.begin(), count * sizeof(UnitPlace));
  uint32_t filled = 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (units[i].kind == UnitKind::type) {
      signatures[filled++] = i;
    }
  }
  std::stable_sort(signatures, signatures + typeCount, [units](uint32_t first, uint32_t second) {
    return IsSignatureBelow(units[first], units[second].signature, units[second].signatureHigh);
  });
  directory->units_ = units;
  directory->count_ = count;
  directory->signatures_ = signatures;
  directory->signatureCount_ = typeCount;
  return true;
}
