// The scan of .debug_info: one DescModule per unit, from the unit header, its abbreviations and its first entry.
#include <cstring>

#include "dwarf2/abbreviations.h"
#include "dwarf2/dwarf2_reader.h"
#include "dwarf2/forms.h"
#include "dwarf2/frames.h"
#include "dwarf2/name_index.h"
#include "records/debug_records.h"
#include "records/desc_module.h"
#include "records/empty_string.h"
#include "tarnixcore/files.h"
#include "tarnixcore/text.h"

namespace {

constexpr uint32_t BITS_FROM_LOW_END = 1;

// Producers whose bit offsets count from the low end of the storage unit. The whole string is compared.
constexpr const char* lowEndProducers[] = {"TARNIX", "QUILLFORGE"};

// Attributes of the unit's entry that are used after all have been read.
struct UnitNames {
  char name[FE_NAME_SIZE];
  char directory[FE_NAME_SIZE];
  bool hasLowPc;
  bool hasHighPc;
};

// Unit header, behind unit_length (4 bytes, itself not counted):
//   +0  2  version              any value is taken
//   +2  4  debug_abbrev_offset  in .debug_abbrev
//   +6  1  address_size         bytes
uint32_t ReadUnitHeader(ElfImage* image, DescModule* module) {
  module->ext->unitOffset = dwarf2State.position - 4;
  ReadU16(image);
  const uint32_t abbrevOffset = ReadU32(image);
  dwarf2State.addressSize = ReadU8(image);
  module->ext->addressSize = dwarf2State.addressSize;
  return abbrevOffset;
}

void ReadProducer(ElfImage* image, uint32_t form, DescModule* module) {
  const char* text = ReadStringForm(image, form, module->heap, 1);
  for (const char* producer : lowEndProducers) {
    if (std::strcmp(text, producer) == 0) {
      module->ext->bitNumbering = BITS_FROM_LOW_END;
    }
  }
}

void ReadUnitAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, UnitNames* names) {
  switch (pair.attribute) {
    case DW_AT_name:
      TU_strncpy(names->name, ReadStringForm(image, pair.form, module->heap, 1), FE_NAME_SIZE);
      break;
    case DW_AT_stmt_list:
      module->ext->lineOffset = ReadConstantForm(image, pair.form);
      break;
    case DW_AT_low_pc:
      module->lowPc = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
      names->hasLowPc = true;
      break;
    case DW_AT_high_pc:
      module->highPc = ReadAddressForm(image, pair.form, dwarf2State.addressSize);
      names->hasHighPc = true;
      break;
    case DW_AT_language:
      module->language = LanguageOf(ReadConstantForm(image, pair.form));
      break;
    case DW_AT_comp_dir:
      TU_strncpy(names->directory, ReadStringForm(image, pair.form, module->heap, 1), FE_NAME_SIZE);
      break;
    case DW_AT_producer:
      ReadProducer(image, pair.form, module);
      break;
    default:
      SkipForm(image, pair.form);
      break;
  }
}

// Splits the joined path: what the split finds as directory need not be DW_AT_comp_dir.
void SetModuleNames(DescModule* module, const UnitNames& names) {
  char fullPath[FE_NAME_SIZE] = {};
  char directory[FE_NAME_SIZE] = {};
  char baseName[FE_NAME_SIZE] = {};
  char extension[FE_EXTENSION_SIZE] = {};
  char fileName[FE_NAME_SIZE] = {};
  FE_BuildFileName(fullPath, names.directory, names.name, nullptr);
  FE_SplitFileName(fullPath, directory, baseName, extension);
  FE_BuildFileName(fileName, nullptr, baseName, extension);
  module->name = DuplicateString(module->heap, fileName);
  module->directory = DuplicateString(module->heap, directory);
}

// Reads the unit's first entry. False when it is no compile unit with children.
bool ReadUnitEntry(ElfImage* image, DescModule* module) {
  const AbbrevEntry* abbrev = FindAbbreviation(ReadUleb(image));
  if (abbrev->hasChildren == 0 || abbrev->tag != DW_TAG_compile_unit) {
    return false;
  }
  UnitNames names = {};
  for (int32_t i = 0; i < abbrev->attributeCount; ++i) {
    ReadUnitAttribute(image, module, abbrev->attributes[i], &names);
  }
  if (names.hasLowPc && names.hasHighPc && (module->lowPc != 0 || module->highPc != 0)) {
    module->hasRange = 1;
  }
  module->ext->firstEntry = dwarf2State.position;
  SetModuleNames(module, names);
  return true;
}

// Reads a unit behind its unit_length. Null when the scan cannot go on.
DescModule* ReadCompileUnit(ElfImage* image, mem_desc* tableHeap) {
  dwarf2State.work->Spend(WorkAllowance::UNIT);
  FailWithoutAllowance();
  if (dwarf2State.failed != 0) {
    return nullptr;
  }
  DescModule* module = NewDescModule(tableHeap);
  if (module == nullptr) {
    Fail("no memory for a module");
    return nullptr;
  }
  module->heap = HEAP_Create(0, 0, 0);
  if (module->heap == nullptr) {
    Fail("no memory for a module heap");
    return nullptr;
  }
  const uint32_t abbrevOffset = ReadUnitHeader(image, module);
  const uint32_t entryOffset = dwarf2State.position;
  dwarf2State.abbrevs = module->ext->abbrevs = ReadAbbreviations(image, module->heap, abbrevOffset);
  if (dwarf2State.abbrevs != nullptr) {
    SeekTo(image, dwarf2State.sections.info, entryOffset);
    if (ReadUnitEntry(image, module)) {
      return module;
    }
  }
  HEAP_Release(module->heap);
  return nullptr;
}

// The two records that stand for types that the file does not give.
bool MakeSharedTypes(mem_desc* tableHeap) {
  DescType** const types[] = {&dwarf2State.voidType, &dwarf2State.undefinedType};
  const char* const typeNames[] = {"void", "undefined"};
  for (int i = 0; i < 2; ++i) {
    auto* type = static_cast<DescType*>(HEAP_Get(tableHeap, sizeof(DescType)));
    if (type == nullptr) {
      Fail("no memory for a shared type");
    } else {
      std::memset(static_cast<void*>(type), 0, sizeof(*type));
      type->name = DuplicateString(tableHeap, typeNames[i]);
    }
    *types[i] = type;
  }
  return dwarf2State.failed == 0;
}

void ReleaseModuleHeaps(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    module->heap = HEAP_Release(module->heap);
  }
}

// Walks the units by their unit_length. False when a unit cannot be read: no module is handed out then.
bool ScanUnits(ElfImage* image, mem_desc* tableHeap, uint32_t size, DescModule** modules) {
  DescModule** tail = modules;
  uint32_t length = ReadU32(image);
  while (dwarf2State.position < size && dwarf2State.failed == 0) {
    const uint32_t unitStart = dwarf2State.position;
    const uint32_t unitEnd = dwarf2State.position + length;
    DescModule* module = ReadCompileUnit(image, tableHeap);
    if (module == nullptr) {
      Fail("no compile unit with children");
      ReleaseModuleHeaps(*modules);
      return false;
    }
    *tail = module;
    tail = &module->next;
    if (unitEnd < unitStart) {
      Fail("unit_length 0x%X leads backwards", static_cast<unsigned>(length));
      break;
    }
    // The stream and `position` part behind the end of the file, so the distance is not what moves it.
    SeekTo(image, dwarf2State.sections.info, unitEnd);
    length = ReadU32(image);
  }
  return true;
}

}  // namespace

int ReadDwarf2Modules(ElfImage* image, mem_desc* tableHeap, DescModule** modules) {
  LoadDwarf2Sections(image);
  dwarf2State.work->Grant(image->file->Size());
  dwarf2State.addressSize = 0;
  ClearFailure();
  if (!MakeSharedTypes(tableHeap)) {
    return 0;
  }
  const ElfSectionHeader* info = dwarf2State.sections.info;
  dwarf2State.position = 0;
  if (ELF_SeekHeader(image, 0, info) == 0) {
    return 0;
  }
  if (info->sh_size == 0) {
    *modules = nullptr;
    return 1;
  }
  DescModule* scanned = nullptr;
  if (!ScanUnits(image, tableHeap, info->sh_size, &scanned)) {
    return 0;
  }
  *modules = scanned;
  if (scanned != nullptr) {
    scanned->ext->frames = ReadDwarf2Frames(image, tableHeap, scanned->ext->addressSize);
  }
  ReadDwarf2NameIndexes(image, tableHeap, scanned);
  return dwarf2State.failed == 0 ? 1 : 0;
}
