// The abbreviation table of a unit: what .debug_abbrev declares at the unit's offset, with a plan for each way in which
// an entry of it is read.
//
//   AbbrevTable table;
//   table.Read(&cursor, sections.abbrev, offset, rules);  // false with the failure noted
//   AbbrevEntry* entry = table.Find(code, &cursor, entryOffset);  // never null
//   const Step* steps = table.PlanOf(entry, RecordKind::variable, unit, &failure);
#pragma once

#include <cstdint>

#include "dwarf2/plan.h"
#include "elf/cursor.h"
#include "records/growing_array.h"

constexpr uint32_t MAX_ABBREV_PAIRS = 500;  // of one declaration, its terminating pair included

struct AbbrevEntry {
  uint32_t code;  // never 0
  uint32_t tag;   // DW_TAG_
  uint32_t hasChildren;
  uint32_t firstAttribute;
  uint32_t attributeCount;       // the terminating pair not counted
  uint32_t plans[RECORD_KINDS];  // by kind of record: the number of the plan's first step, 0 for none yet
};

class AbbrevTable {
 public:
  // Reads the declarations at `offset`. False, with the failure noted, when the section is missing, a declaration is
  // too long, the file has asked for too much, or there is no memory.
  bool Read(Cursor* cursor, const SectionPlace& section, uint32_t offset, const Dwarf2Rules& rules);

  // The declaration of a code, which is at `offset`; of several the later. For a code that the table does not hold the
  // failure is noted, and the answer is an entry with a tag that no handler takes, without attributes and children.
  AbbrevEntry* Find(uint32_t code, Cursor* cursor, uint32_t offset) {
    if (code < denseCount_ && dense_[code] != 0) {
      return &entries_[dense_[code]];
    }
    return FindOutside(code, cursor, offset);
  }

  // Bytes that the declarations take in memory, without plans.
  uint64_t Memory() const;

  // The attributes of an entry as the file has them.
  const AbbrevAttribute* Attributes(const AbbrevEntry* entry) { return &attributes_[entry->firstAttribute]; }

  // How an entry of a unit becomes a record of that kind. Valid until the next call. Null without memory. All units
  // that a table is asked for have the same KeyOf.
  const Step* PlanOf(AbbrevEntry* entry, RecordKind kind, const UnitForms& unit, Failure* failure) {
    const uint32_t firstStep = entry->plans[static_cast<size_t>(kind)];
    return firstStep != 0 ? &steps_[firstStep] : AddPlan(entry, kind, unit, failure);
  }

 private:
  bool ReadDeclaration(Cursor* cursor, uint32_t code, const Dwarf2Rules& rules);
  bool ReadAttributes(Cursor* cursor, AbbrevEntry* entry, const Dwarf2Rules& rules);
  bool IndexCodes(uint32_t maxCode);
  void Clear();
  AbbrevEntry* FindOutside(uint32_t code, Cursor* cursor, uint32_t offset);
  const Step* AddPlan(AbbrevEntry* entry, RecordKind kind, const UnitForms& unit, Failure* failure);

  Cursor* cursor_ = nullptr;           // the one that the table was read with
  GrowingArray<AbbrevEntry> entries_;  // number 0 stands in for a missing one
  GrowingArray<AbbrevAttribute> attributes_;
  GrowingArray<Step> steps_;      // of all plans; number 0 is none's
  GrowingArray<uint32_t> dense_;  // by code, below denseCount_: the entry's number, 0 for none
  uint32_t denseCount_ = 0;
  GrowingArray<uint32_t> sparse_;  // all other codes: a hash table of numbers of entries, 0 for a free place
};
