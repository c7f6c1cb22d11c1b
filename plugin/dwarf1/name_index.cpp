#include "dwarf1/name_index.h"

#include <algorithm>

#include "dwarf/index_records.h"
#include "dwarf1/entry_cursor.h"

namespace dwarf1 {
namespace {

constexpr uint32_t INDEX_VERSION = 1;  // one byte, not two

// Reads a section from its start. It ends with its size or with the file, whichever comes first.
class IndexReader {
 public:
  IndexReader(const File& file, Failure* failure, Allowance* allowance, const ModulesByUnit* units)
      : section_(failure, allowance), heap_(failure, allowance), units_(*units) {
    section_.Use(file.image->file, ELF_IsLittleEndian(file.image));
    section_.SetStrict(false);
  }

  // Both return false when a set ended the reading.
  bool ReadNames(const SectionPlace& place);
  bool ReadRanges(const SectionPlace& place);

 private:
  bool Begin(const SectionPlace& place);
  bool HasMore() const { return section_.Offset() < section_.Section().size && !section_.AtEnd(); }
  DescModule* ReadModuleOfSet();
  char* ReadName();

  EntryCursor section_;
  RecordHeap heap_;  // of the module whose set was read last
  const ModulesByUnit& units_;
};

// The section is walked over once, so it is charged as a whole.
bool IndexReader::Begin(const SectionPlace& place) {
  if (!place.exists) {
    return false;
  }
  section_.Seek(place, 0);
  return section_.Charge(section_.BytesInFile(place.size)) && HasMore();
}

// Version and unit. Null for a set of another version, or of a unit that no module has.
DescModule* IndexReader::ReadModuleOfSet() {
  const uint32_t version = section_.U8();
  DescModule* module = units_.Find(section_.U32());
  if (module != nullptr && module->heap != heap_.Heap()) {
    heap_.Use(module->heap);
  }
  return version == INDEX_VERSION ? module : nullptr;
}

char* IndexReader::ReadName() {
  char* name = nullptr;
  section_.ReadName(&heap_, &name);
  return name;
}

// A set:
//   +0  4  bytes of the set after this field
//   +4  1  version
//   +5  4  offset of the unit's entry in .debug
//   +9  4  size of the unit
//   then names, each after a 4-byte offset; an offset of 0 ends them
bool IndexReader::ReadNames(const SectionPlace& place) {
  for (bool hasMore = Begin(place); hasMore; hasMore = HasMore()) {
    const uint64_t length = section_.U32();
    const uint64_t lastByte = section_.Offset() + length - 1;
    DescModule* module = ReadModuleOfSet();
    if (module == nullptr) {
      return false;
    }
    section_.U32();
    while (section_.U32() != 0 && section_.Offset() < lastByte && HasMore()) {
      AddGlobalName(&heap_, module, ReadName());
    }
    const uint64_t setEnd = std::min<uint64_t>(lastByte + 1, place.size);
    if (section_.Offset() < setEnd) {
      section_.Skip(setEnd - section_.Offset());
    }
  }
  return true;
}

// A set: length (4), version (1), offset of the unit's entry (4), then pairs of address (4) and length (4). The pair
// 0, 0 ends the set, whatever its length field says.
bool IndexReader::ReadRanges(const SectionPlace& place) {
  for (bool hasMore = Begin(place); hasMore; hasMore = HasMore()) {
    section_.U32();
    DescModule* module = ReadModuleOfSet();
    if (module == nullptr) {
      return false;
    }
    while (HasMore()) {
      const uint32_t address = section_.U32();
      const uint32_t length = section_.U32();
      if ((address | length) == 0) {
        break;
      }
      AddAddrRange(&heap_, module, address, length);
    }
  }
  return true;
}

// The modules of the main list by the offsets of their units, those of folded units included.
bool Enter(DescModule* modules, ModulesByUnit* units) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    if (!units->Add(module->ext->unitOffset, module)) {
      return false;
    }
    for (const DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
      if (!units->Add(folded->ext->unitOffset, module)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

void ReadNameIndexes(const File& file, DescModule* modules, Failure* failure, Allowance* allowance) {
  ModulesByUnit units;
  if (!Enter(modules, &units)) {
    failure->NoteNoMemory();
    return;
  }
  IndexReader reader(file, failure, allowance, &units);
  if (reader.ReadNames(file.names)) {
    reader.ReadRanges(file.ranges);
  }
}

}  // namespace dwarf1
