#include "dwarf1/name_index.h"

#include <algorithm>
#include <vector>

#include "dwarf1/memory.h"
#include "dwarf1/text.h"
#include "records/debug_records.h"

namespace dwarf1 {
namespace {

constexpr uint32_t INDEX_VERSION = 1;  // one byte, not two

// The modules of the main list by the offsets of their units, folded units included.
class UnitTable {
 public:
  explicit UnitTable(DescModule* modules) {
    for (DescModule* module = modules; module != nullptr; module = module->next) {
      units_.push_back({module->ext->unitOffset, module});
      for (const DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
        units_.push_back({folded->ext->unitOffset, module});
      }
    }
    std::sort(units_.begin(), units_.end(), [](const Unit& a, const Unit& b) { return a.offset < b.offset; });
  }

  DescModule* Find(uint32_t offset) const {
    const auto unit =
        std::lower_bound(units_.begin(), units_.end(), offset,
                         [](const Unit& candidate, uint32_t wanted) { return candidate.offset < wanted; });
    return unit != units_.end() && unit->offset == offset ? unit->module : nullptr;
  }

 private:
  struct Unit {
    uint32_t offset;
    DescModule* module;
  };
  std::vector<Unit> units_;
};

// A section that is read from its start. It ends with its size or with the file, whichever comes first.
class IndexSection {
 public:
  explicit IndexSection(const char* name) : header_(ELF_FindSection(dwarf1State.image, name)) {
    if (ELF_SeekHeader(dwarf1State.image, 0, header_) != 0) {
      size_ = header_->sh_size;
    }
    dwarf1State.position = 0;
  }
  bool HasMore() const { return dwarf1State.position < size_ && !IsEndOfFile(); }
  uint64_t Size() const { return size_; }

 private:
  const ElfSectionHeader* header_;
  uint64_t size_ = 0;
};

DescModule* ReadModuleOfSet(const UnitTable& units) {
  const uint32_t version = ReadU8();
  DescModule* module = units.Find(ReadU32());
  return version == INDEX_VERSION ? module : nullptr;
}

void AddName(DescModule* module) {
  auto* node = NewRecord<DescGlobalName>(module->heap);
  ReadName(module->heap, &node->name);
  node->next = module->ext->globalNames;
  module->ext->globalNames = node;
}

void AddRange(DescModule* module, uint32_t address, uint32_t length) {
  auto* node = NewRecord<DescAddrRange>(module->heap);
  node->low = address;
  node->high = address + length - 1;
  node->next = module->ext->addrRanges;
  module->ext->addrRanges = node;
}

// A set:
//   +0  4  bytes of the set behind this field
//   +4  1  version
//   +5  4  offset of the unit's entry in .debug
//   +9  4  size of the unit
//   then names, each behind a 4-byte offset; an offset of 0 ends them
bool ReadNameSets(const UnitTable& units) {
  const IndexSection section(".debug_pubnames");
  while (section.HasMore()) {
    const uint64_t length = ReadU32();
    const uint64_t lastByte = dwarf1State.position + length - 1;
    DescModule* module = ReadModuleOfSet(units);
    if (module == nullptr) {
      return false;
    }
    ReadU32();
    while (ReadU32() != 0 && dwarf1State.position < lastByte && section.HasMore()) {
      AddName(module);
    }
    const uint64_t setEnd = std::min(lastByte + 1, section.Size());
    if (dwarf1State.position < setEnd) {
      SkipBytes(static_cast<uint32_t>(setEnd) - dwarf1State.position);
    }
  }
  return true;
}

// A set: length (4), version (1), offset of the unit's entry (4), then pairs of address (4) and length (4). The pair
// 0, 0 ends the set, whatever its length field says.
bool ReadRangeSets(const UnitTable& units) {
  const IndexSection section(".debug_aranges");
  while (section.HasMore()) {
    ReadU32();
    DescModule* module = ReadModuleOfSet(units);
    if (module == nullptr) {
      return false;
    }
    while (section.HasMore()) {
      const uint32_t address = ReadU32();
      const uint32_t length = ReadU32();
      if ((address | length) == 0) {
        break;
      }
      AddRange(module, address, length);
    }
  }
  return true;
}

}  // namespace

int ReadDwarf1NameIndexes(DescModule* modules) {
  ClearFailure();
  const UnitTable units(modules);
  const bool regular = ReadNameSets(units) && ReadRangeSets(units);
  ClearFailure();  // a name that the file cuts off is no failure of the scan
  return regular ? 1 : 0;
}

}  // namespace dwarf1
