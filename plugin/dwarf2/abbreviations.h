// The abbreviation table of a unit: what .debug_abbrev declares at the unit's offset.
#pragma once

#include <cstdint>
#include <span>

#include "dwarf2/forms.h"
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
  // What is left to do when runs of attributes that no handler takes, and whose size is fixed, are one skip each
  // (FORM_SKIPPED_RUN). `fixedSize` is the size of all values when every form has a fixed one, else NO_FIXED_SIZE.
  int32_t stepCount;
  int32_t fixedSize;
  AbbrevAttribute* steps;
};

constexpr int32_t NO_FIXED_SIZE = -1;

// Not a form of a file: stands for a run of values that are only skipped, with their size in bytes added to it.
constexpr uint32_t FORM_SKIPPED_RUN = 0x10000;

// Consumes the value of a step.
inline void SkipStep(ElfImage* image, uint32_t form) {
  if (form >= FORM_SKIPPED_RUN) {
    SkipBytes(image, form - FORM_SKIPPED_RUN);
  } else {
    SkipForm(image, form);
  }
}

// The attributes of an entry as handlers go through them.
inline std::span<const AbbrevAttribute> StepsOf(const AbbrevEntry* abbrev) {
  return {abbrev->steps, static_cast<size_t>(abbrev->stepCount)};
}

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
