// The tables of abbreviations that the fill of a module reads: the unit's own, and those of units that it refers to.
#pragma once

#include <memory>

#include "dwarf2/abbreviations.h"
#include "records/hash_index.h"

class AbbrevCache {
 public:
  explicit AbbrevCache(Allowance* allowance) : allowance_(allowance) {}

  // The table at an offset for units with the same KeyOf, whose plans are the same. It is read if it is not there;
  // null, with the failure noted, when it cannot be read. It stays until Empty.
  AbbrevTable* Find(Cursor* cursor, const SectionPlace& section, uint32_t offset, const UnitForms& unit);

  // Forgets all tables but the memory of the first. Tables in use must not be used any more.
  void Empty();

 private:
  struct Entry {
    uint32_t offset;
    uint32_t key;  // of its units
    AbbrevTable table;
    std::unique_ptr<Entry> next;
  };

  Allowance* allowance_;
  AbbrevTable first_;  // of the module's own unit; it keeps its memory from module to module
  uint32_t firstOffset_ = 0;
  uint32_t firstKey_ = 0;
  bool hasFirst_ = false;
  std::unique_ptr<Entry> others_;
  uint64_t taken_ = 0;  // memory of the others
  HashIndex index_;     // of the others
};
