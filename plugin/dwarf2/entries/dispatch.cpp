// The spine of the walk: which entries become records, which are passed over with all below them, and how a reference
// to a type finds its record.
#include <iterator>

#include "dwarf2/entries/entries.h"

namespace {

constexpr uint32_t MAX_SPECIFICATION_JUMPS = 64;

// An enumeration is named as a basic type is.
// clang-format off
constexpr TypeTagRow typeTagRows[] = {
    {DW_TAG_array_type,       KIND_ARRAY,     "array",        ReadDwarf2Array},
    {DW_TAG_class_type,       KIND_CLASS,     "class",        ReadDwarf2Aggregate},
    {DW_TAG_enumeration_type, KIND_ENUM,      UNDEFINED_TYPE, ReadDwarf2Enumeration},
    {DW_TAG_pointer_type,     KIND_POINTER,   "pointer",      ReadDerivedType},
    {DW_TAG_reference_type,   KIND_REFERENCE, "reference",    ReadDerivedType},
    {DW_TAG_structure_type,   KIND_STRUCT,    "struct",       ReadDwarf2Aggregate},
    {DW_TAG_subroutine_type,  KIND_FUNCTION,  "function",     ReadDwarf2FunctionType},
    {DW_TAG_typedef,          KIND_TYPEDEF,   "typedef",      ReadDerivedType},
    {DW_TAG_union_type,       KIND_UNION,     "union",        ReadDwarf2Aggregate},
    {DW_TAG_base_type,        KIND_BASIC,     UNDEFINED_TYPE, ReadBaseType},
    {DW_TAG_const_type,       KIND_CONST,     "const",        ReadDerivedType},
    {DW_TAG_volatile_type,    KIND_VOLATILE,  "volatile",     ReadDerivedType},
};
// clang-format on

// By tag, up to the last of DWARF 2: the row in typeTagRows plus 1, or 0.
struct TagRows {
  uint8_t rows[DW_TAG_volatile_type + 1] = {};
  constexpr TagRows() {
    for (size_t i = 0; i < std::size(typeTagRows); ++i) {
      rows[typeTagRows[i].tag] = static_cast<uint8_t>(i + 1);
    }
  }
};
constexpr TagRows tagRows;

void SkipAttributes(ElfImage* image, const AbbrevEntry* abbrev) {
  if (abbrev->fixedSize != NO_FIXED_SIZE) {
    SkipBytes(image, static_cast<uint32_t>(abbrev->fixedSize));
    return;
  }
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    SkipStep(image, pair.form);
  }
}

// The index is made anew when the walk has come to another module, or the list was not built through it.
bool IndexTypes(const DescModule* module) {
  HashIndex& index = dwarf2State.typesByKey;
  if (dwarf2State.indexedModule == module && index.Count() == module->typeCount) {
    return true;
  }
  index.Clear();
  dwarf2State.indexedModule = module;
  for (DescType* type = module->types; type != nullptr; type = type->next) {
    if (!index.Insert(type->key, type)) {
      return false;
    }
  }
  return true;
}

DescType* AddPlaceholder(DescModule* module, uint32_t key) {
  auto* type = NewEntryRecord<DescType>(module->heap);
  if (type == nullptr) {
    return nullptr;
  }
  if (!dwarf2State.typesByKey.Insert(key, type)) {
    Fail("no memory for the index of types");
    return nullptr;
  }
  type->name = FixedWord(UNDEFINED_TYPE);
  type->key = key;
  type->next = module->types;
  module->types = type;
  ++module->typeCount;
  return type;
}

}  // namespace

const TypeTagRow* FindTypeTag(uint32_t tag) {
  const uint32_t row = tag < std::size(tagRows.rows) ? tagRows.rows[tag] : 0;
  return row != 0 ? &typeTagRows[row - 1] : nullptr;
}

void ReadDwarf2Entry(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  const TypeTagRow* row = FindTypeTag(abbrev->tag);
  if (row != nullptr) {
    row->read(image, module, abbrev, entryOffset);
  } else {
    SkipDwarf2Entry(image, abbrev);
  }
}

// Levels are counted, not recursed into: what is only skipped may be nested as deep as the file is long.
void SkipDwarf2Entry(ElfImage* image, const AbbrevEntry* abbrev) {
  SkipAttributes(image, abbrev);
  uint32_t levels = abbrev->hasChildren;
  while (levels != 0 && dwarf2State.failed == 0) {
    const uint32_t code = ReadUleb(image);
    if (code == 0) {
      --levels;
      continue;
    }
    const AbbrevEntry* child = FindAbbreviation(code);
    SkipAttributes(image, child);
    levels += child->hasChildren;
  }
}

DescType* FindOrAddType(DescModule* module, uint32_t key) {
  if (!IndexTypes(module)) {
    Fail("no memory for the index of types");
    return nullptr;
  }
  DescType* type = dwarf2State.recentTypes.Find(key);
  if (type != nullptr) {
    return type;
  }
  type = dwarf2State.typesByKey.Find<DescType>(key, [](const DescType*) { return true; });
  if (type == nullptr) {
    type = AddPlaceholder(module, key);
  }
  if (type != nullptr) {
    dwarf2State.recentTypes.Put(key, type);
  }
  return type;
}

const AbbrevEntry* SpecificationChase::Jump(ElfImage* image, uint32_t offset) {
  if (offset == 0) {
    return nullptr;
  }
  if (jumps_ == MAX_SPECIFICATION_JUMPS) {
    Fail("DW_AT_specification leads in a circle");
    return nullptr;
  }
  if (jumps_++ == 0) {
    behind_ = dwarf2State.position;
  }
  SeekTo(image, dwarf2State.sections.info, offset);
  const AbbrevEntry* abbrev = FindAbbreviation(ReadUleb(image));
  SpendOnRecords(uint64_t{1} + static_cast<uint32_t>(abbrev->stepCount));
  return abbrev;
}

void SpecificationChase::Return(ElfImage* image) {
  if (jumps_ != 0) {
    SeekTo(image, dwarf2State.sections.info, behind_);
  }
}
