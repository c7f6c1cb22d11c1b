// The abbreviation table of a unit: what .debug_abbrev declares at the unit's offset.
#pragma once

#include <cstdint>

#include "dwarf2/reader_state.h"
#include "tarnixcore/heap.h"

constexpr uint32_t ABBREV_BUCKETS = 71;
constexpr uint32_t MAX_ABBREV_PAIRS = 500;  // of one declaration, its terminating pair included

struct AbbrevAttribute {
  uint32_t attribute;  // DW_AT_
  uint32_t form;       // DW_FORM_
};

struct AbbrevEntry {
  AbbrevEntry* next;  // in the bucket; a later declaration comes first
  uint32_t code;      // never 0
  uint32_t tag;       // DW_TAG_
  uint32_t hasChildren;
  int32_t attributeCount;  // the terminating pair not counted
  AbbrevAttribute* attributes;
};

// Lies in the module heap for the module's life. The buckets are the table; the dense array answers for small codes, as
// compilers number them, without a walk.
struct AbbrevTable {
  AbbrevEntry* buckets[ABBREV_BUCKETS];  // by code modulo ABBREV_BUCKETS
  uint32_t denseCount;
  AbbrevEntry** dense;  // by code, below denseCount; null where there is no such code
};

// Stands in for a code that the table does not hold: a tag that no handler takes, no attributes, no children.
extern const AbbrevEntry missingAbbreviation;

// Reads the declarations at `offset` of .debug_abbrev. Null, with the latch set, when the section is missing, a
// declaration is too long, a reader fails or there is no memory.
AbbrevTable* ReadAbbreviations(ElfImage* image, mem_desc* heap, uint32_t offset);

// The latch is set for a code that the unit's table does not hold.
const AbbrevEntry* FindAbbreviationInBuckets(uint32_t code);
inline const AbbrevEntry* FindAbbreviation(uint32_t code) {
  const AbbrevTable* table = dwarf2State.abbrevs;
  if (table != nullptr && code < table->denseCount && table->dense[code] != nullptr) {
    return table->dense[code];
  }
  return FindAbbreviationInBuckets(code);
}
