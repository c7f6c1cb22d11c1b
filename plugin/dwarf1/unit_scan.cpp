// The unit scan: from unit to unit along AT_sibling, one DescModule for each, and what concerns all of them: shared
// types, merged neighbours, heaps, the index sections. No entry behind a unit's own is read.
#include <cstring>

#include "dwarf1/attributes.h"
#include "dwarf1/basic_types.h"
#include "dwarf1/dwarf1_reader.h"
#include "dwarf1/memory.h"
#include "dwarf1/merged_units.h"
#include "dwarf1/name_index.h"
#include "dwarf1/text.h"
#include "records/debug_records.h"
#include "records/desc_module.h"
#include "tarnixcore/files.h"

namespace dwarf1 {
namespace {

// What a unit's entry says in text. Of the producer the longest name that matters fits in any case.
struct UnitText {
  char name[NAME_BUFFER] = {};
  char directory[NAME_BUFFER] = {};
  char producer[256] = {};
};

uint32_t ReadLanguage(uint32_t form, uint32_t* language) {
  uint32_t code = 0;
  const uint32_t consumed = ReadDataForm(form, &code);
  if (LanguageOf(code) != LANGUAGE_UNKNOWN) {
    *language = LanguageOf(code);
  }
  return consumed;
}

// These producers count bits from the low end; the comparison is exact.
bool NumbersBitsFromLowEnd(const char* producer) {
  return std::strcmp(producer, "TARNIX") == 0 || std::strcmp(producer, "QUILLFORGE") == 0;
}

bool ReadUnitAttributes(uint32_t remaining, DescModule* module, UnitText* text, uint32_t* nextOffset) {
  bool hasLow = false;
  bool hasHigh = false;
  const bool regular = ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) -> uint32_t {
    uint32_t consumed = 4;
    switch (name) {
      case AT_name:
        return ReadBoundedString(text->name, sizeof(text->name));
      case AT_comp_dir:
        return ReadBoundedString(text->directory, sizeof(text->directory));
      case AT_producer:
        consumed = ReadBoundedString(text->producer, sizeof(text->producer));
        if (NumbersBitsFromLowEnd(text->producer)) {
          module->ext->bitNumbering = 1;
        }
        return consumed;
      case AT_stmt_list:
        module->ext->lineOffset = ReadU32();
        return 4;
      case AT_low_pc:
        module->lowPc = ReadU32();
        hasLow = true;
        return 4;
      case AT_high_pc:
        module->highPc = ReadU32();
        hasHigh = true;
        return 4;
      case AT_language:
        return ReadLanguage(form, &module->language);
      default:
        return SkipAttributeValue(form);
    }
  });
  module->hasRange = regular && hasLow && hasHigh ? 1 : 0;
  return regular;
}

// The name may bring directories along: the file name goes to `name`, all before it to `directory`.
void SetSourceFile(mem_desc* tableHeap, DescModule* module, const UnitText& text) {
  char path[NAME_BUFFER];
  char directory[NAME_BUFFER];
  char base[NAME_BUFFER];
  char extension[NAME_BUFFER];  // no path has a longer one, wherever it is cut
  FE_BuildFullName(path, sizeof(path), text.name, text.directory);
  FE_SplitFileName(path, directory, base, extension);
  FE_BuildFileName(path, nullptr, base, extension);
  module->name = CopyToHeap(tableHeap, path);
  module->directory = CopyToHeap(tableHeap, directory);
}

// Reads the entry of the unit at `offset`. Its AT_sibling goes to `nextOffset`.
DescModule* ReadUnitEntry(uint32_t offset, uint32_t remaining, mem_desc* tableHeap, uint32_t* nextOffset) {
  Work().Spend(WorkAllowance::UNIT);
  DescModule* module = NewDescModule(tableHeap);
  if (module == nullptr) {
    throw std::bad_alloc();
  }
  module->ext->firstEntry = offset + remaining + 6;
  module->ext->unitOffset = offset;
  UnitText text;
  if (ReadUnitAttributes(remaining, module, &text, nextOffset)) {
    SetSourceFile(tableHeap, module, text);
  }
  return module;
}

// A padding entry between units has 12 bytes, whatever its length says. Gives the offset behind it.
uint32_t ReadPadding(uint32_t offset) {
  constexpr uint32_t PADDING_SIZE = 12;
  ReadU32();
  ReadU16();
  return offset + PADDING_SIZE;
}

// False when something other than units and padding stands between the units.
bool ScanUnits(mem_desc* tableHeap, DescModule** modules) {
  ListEnd<DescModule> list(modules);
  uint32_t offset = 0;      // of the entry in hand
  uint32_t nextOffset = 0;  // where the last sibling led; padding does not move it
  int64_t previousOffset = -1;
  EntryHeader entry;
  while (ReadEntryHeader(&entry) && previousOffset < static_cast<int32_t>(nextOffset) && IsWorkLeft()) {
    if (entry.tag == TAG_padding) {
      offset = ReadPadding(offset);
    } else if (entry.tag == TAG_compile_unit) {
      previousOffset = static_cast<int32_t>(nextOffset);
      list.Append(ReadUnitEntry(offset, entry.remaining, tableHeap, &nextOffset));
      if (nextOffset >= dwarf1State.debug->sh_size) {
        break;
      }
      SeekDebug(nextOffset);
      offset = nextOffset;
    } else {
      return false;
    }
  }
  return true;
}

bool CreateHeaps(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    module->heap = HEAP_Create(0, 0, 0);
    if (module->heap == nullptr) {
      return false;
    }
    for (DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
      folded->heap = module->heap;
    }
  }
  return true;
}

int ReadModules(mem_desc* tableHeap, DescModule** modules, int32_t intSize) {
  CreateBasicTypes(tableHeap, intSize);
  if (dwarf1State.debug == nullptr || dwarf1State.debug->sh_size == 0) {
    return 1;
  }
  SeekDebug(0);
  DescModule* list = nullptr;
  if (!ScanUnits(tableHeap, &list)) {
    return 0;
  }
  *modules = list;
  MergeAdjacentUnits(list);
  if (!CreateHeaps(list)) {
    return 0;
  }
  ReadDwarf1NameIndexes(list);  // an aid of the finders: what it gives counts, not its result
  return 1;
}

}  // namespace
}  // namespace dwarf1

int ReadDwarf1Modules(ElfImage* image, mem_desc* tableHeap, DescModule** modules, int32_t intSize) {
  using namespace dwarf1;
  *modules = nullptr;
  UseImage(image);
  ClearFailure();
  Work().Grant(image->file->Size());
  int result = 0;
  RunStep([&] { result = ReadModules(tableHeap, modules, intSize); });
  return dwarf1State.failed == 0 ? result : 0;
}
