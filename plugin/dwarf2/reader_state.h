// What all DWARF 2 readers share: where they read, the unit that they read, and the error latch.
//
// There is one state per process; the image is passed to every reader beside it. `failed` stops nothing by itself: the
// loops of the readers test it, and the entry operation reports once at its end. What was built until then stands.
#pragma once

#include <cstdint>

#include "dwarf2/line_state.h"
#include "dwarf2/recent_values.h"
#include "elf/section_access.h"
#include "records/hash_index.h"

struct AbbrevTable;
struct DescModule;
struct DescType;

// The sections that the readers go back and forth between; null for one that the file does not have.
struct Dwarf2Sections {
  const ElfSectionHeader* info;
  const ElfSectionHeader* abbrev;
  const ElfSectionHeader* line;
  const ElfSectionHeader* loc;
  const ElfSectionHeader* str;
  const ElfSectionHeader* frame;
  const ElfSectionHeader* pubnames;
  const ElfSectionHeader* aranges;
};

// Shared records of the last scan.
struct Dwarf2SharedTypes {
  DescType* voidType;
  DescType* undefinedType;
};

struct Dwarf2ReaderState : Dwarf2SharedTypes {
  uint32_t position;        // offset of the next byte in the section being read; every reader adds what it consumed
  uint32_t failed;          // the latch, 0 or 1; cleared at the start of a scan and of a fill only
  uint8_t addressSize;      // of the unit being read, in bytes
  uint8_t opcodeBase;       // of the line program read last, whichever module or file it was of; 0 before the first
  uint32_t unitBase;        // added to a unit-relative reference: the unit's offset in .debug_info, or 0
  AbbrevTable* abbrevs;     // of the unit being read
  Dwarf2Sections sections;  // of the image being read
  WorkAllowance* work;      // of that image
  uint32_t nesting;         // levels of entries that the walk stands in

  // Types of the module being filled by key, beside its list `types`.
  HashIndex typesByKey;
  RecentValues<DescType, 10> recentTypes;
  const DescModule* indexedModule;

  // Strings of .debug_str that the module being filled has in its heap already, by offset; records share them.
  RecentValues<char, 12> recentTexts;
  const mem_desc* recentHeap;  // null when no module is being filled

  LineState line;
  HashIndex filesByName;  // DescFile records of the running line program, by base name

  // Why `failed` was set, and where: the first reason since it was cleared.
  char failure[96];
  uint32_t failurePosition;
};

extern Dwarf2ReaderState dwarf2State;

// Levels of nested entries that are read; the next one fails.
constexpr uint32_t MAX_NESTING = 1000;

// Whether the line program read last was of the reduced variant. Its producer also counts references between entries
// from the start of the section.
constexpr uint32_t FIRST_STANDARD_OPCODE_BASE = 10;
inline bool IsReducedVariant() {
  return dwarf2State.opcodeBase < FIRST_STANDARD_OPCODE_BASE;
}

// Looks the image's sections up. Begins every scan and every fill.
void LoadDwarf2Sections(ElfImage* image);

// Clears the latch and its reason.
void ClearFailure();

// Sets the latch, and notes the reason if it is the first.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void Fail(const char* format, ...);

// Pays for what was read of the image, out of its allowance. The latch is set when that is used up.
inline void FailWithoutAllowance() {
  if (!dwarf2State.work->IsLeft()) {
    Fail("parts of the file are read over and over");
  }
}
inline void SpendOnText(uint64_t bytes) {
  dwarf2State.work->SpendOnText(bytes);
  FailWithoutAllowance();
}
inline void SpendOnRecords(uint64_t bytes) {
  dwarf2State.work->SpendOnRecords(bytes);
  FailWithoutAllowance();
}

// Goes to `offset` of a section, position and stream together. A missing section sets the latch.
inline void SeekTo(ElfImage* image, const ElfSectionHeader* section, uint32_t offset) {
  dwarf2State.position = offset;
  if (ELF_SeekHeader(image, offset, section) == 0) {
    Fail("section missing");
  }
}
