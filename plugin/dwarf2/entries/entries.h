// Translation of debugging information entries into records: one handler per kind of entry.
//
// A caller has read the abbreviation code, so that on entry of each handler the stream and `position` stand at the
// first attribute value of the entry. On return they stand behind the entry; where the handler walks children, behind
// the null entry that closes them. A handler goes through the attribute pairs in order and reads each value straight
// into the record, so that a later attribute of the same code overwrites an earlier one.
//
// Handlers return a record as far as it has come, also when the latch was set meanwhile, and null only without memory.
// The caller links it.
#pragma once

#include <cstdint>
#include <cstring>

#include "dwarf2/abbreviations.h"
#include "dwarf2/forms.h"
#include "records/debug_records.h"
#include "records/empty_string.h"

// dispatch.cpp. An entry's offset in .debug_info is its identity: types carry it as their key.
void ReadDwarf2Entry(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
void SkipDwarf2Entry(ElfImage* image, const AbbrevEntry* abbrev);

// The type record under `key`, made as a placeholder when there is none: the definition fills that very record, so it
// does not matter whether the reference or the entry comes first.
DescType* FindOrAddType(DescModule* module, uint32_t key);

// The type that a DW_AT_type names.
inline DescType* ReadTypeReference(ElfImage* image, DescModule* module, uint32_t form) {
  return FindOrAddType(module, ReadReferenceForm(image, form));
}

// types.cpp, aggregates.cpp
void ReadDwarf2Array(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
void ReadDwarf2FunctionType(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
void ReadDerivedType(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
void ReadBaseType(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
void ReadDwarf2Aggregate(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
void ReadDwarf2Enumeration(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);

// A row of the table of tags that make or complete one DescType.
struct TypeTagRow {
  uint32_t tag;
  uint32_t kind;     // DescTypeKind
  const char* word;  // name when the entry gives none
  void (*read)(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);
};

// A fixed word as a record's name. Records are read, never written through, so the literal serves.
inline char* FixedWord(const char* word) {
  return const_cast<char*>(word);
}

// Name of a placeholder, and of a basic type before it is read; told from a name that reads the same by its address.
inline constexpr char UNDEFINED_TYPE[] = "undefined";

// The row of a tag, or null when the tag is no type's.
const TypeTagRow* FindTypeTag(uint32_t tag);

// The type of an entry, brought to its kind's start state whatever it held before; key and link stay. Null, with the
// latch set, without memory.
DescType* BeginType(DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset);

// Takes the attributes that all types have, DW_AT_name and DW_AT_byte_size, and passes over any other. An empty string
// counts as no name.
void ReadTypeAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, DescType* type);

// variables.cpp: variables, parameters, members and base classes alike.
DescVar* ReadDwarf2Variable(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev);

// subprograms.cpp
DescProc* ReadDwarf2Subprogram(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev);
DescCodeMark* ReadCodeMark(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev);

// locations.cpp: an expression, or a list of .debug_loc, told apart by the form alone. Null for none.
DescLocation* ReadLocationAttribute(ElfImage* image, uint32_t form, mem_desc* heap);
DescLocation* ReadLocationList(ElfImage* image, uint32_t offset, mem_desc* heap);

// A cleared record in the module heap; null, with the latch set, without memory.
template <typename Record>
Record* NewEntryRecord(mem_desc* heap) {
  auto* record = static_cast<Record*>(HEAP_Get(heap, sizeof(Record)));
  if (record == nullptr) {
    Fail("no memory for a record");
    return nullptr;
  }
  std::memset(static_cast<void*>(record), 0, sizeof(Record));
  return record;
}

// The end of a list under construction: keeps file order at constant cost. A null record adds nothing.
template <typename Record>
class ListTail {
 public:
  explicit ListTail(Record** head) : end_(head) {}
  void Append(Record* record) {
    *end_ = record;
    if (record != nullptr) {
      end_ = &record->next;
    }
  }

 private:
  Record** end_;
};

// Walks the children of an entry, up to and including the null entry that closes them, and calls
// `read(abbrev, entryOffset)` on each. An over-long code ends the level as a null entry does.
template <typename ReadChild>
void ForEachChild(ElfImage* image, const AbbrevEntry* parent, ReadChild read) {
  if (parent->hasChildren == 0) {
    return;
  }
  if (dwarf2State.nesting == MAX_NESTING) {
    Fail("entries nested deeper than %u", static_cast<unsigned>(MAX_NESTING));
    return;
  }
  ++dwarf2State.nesting;
  while (dwarf2State.failed == 0) {
    const uint32_t entryOffset = dwarf2State.position;
    const uint32_t code = ReadUleb(image);
    if (code == 0) {
      break;
    }
    read(FindAbbreviation(code), entryOffset);
  }
  --dwarf2State.nesting;
}

// A DW_AT_specification that a handler follows into the same record, and the way back.
class SpecificationChase {
 public:
  // Goes to the entry at `offset` and gives its abbreviation. Null when there is no jump to make: `offset` is 0, or the
  // chain is too long to be honest.
  const AbbrevEntry* Jump(ElfImage* image, uint32_t offset);

  // Goes back behind the attributes of the entry that the chase started from.
  void Return(ElfImage* image);

 private:
  uint32_t jumps_ = 0;
  uint32_t behind_ = 0;
};
