// All units of a file, as published: modules, and the partial and type units that they take entries from.
//
// An entry has one number in the whole file: its offset in .debug_info, or the size of .debug_info and its offset in
// .debug_types. References, keys of types and the directory use this number.
#pragma once

#include <cstdint>

#include "dwarf2/forms.h"
#include "dwarf2/sections.h"
#include "records/debug_records.h"
#include "records/growing_array.h"

enum class UnitKind : uint8_t { compile, partial, type, skeleton };

struct UnitPlace {
  uint32_t start;          // of the header, as entries are numbered
  uint32_t end;            // after the unit
  uint32_t rootEntry;      // of the unit's own entry
  uint32_t firstEntry;     // after it: its first child
  uint32_t abbrevOffset;   // in .debug_abbrev
  uint32_t typeEntry;      // type units: of the type that they are for
  uint32_t signature;      // type units: low bits of the signature
  uint32_t signatureHigh;  // bits 32 to 63
  uint32_t strOffsetsBase;
  uint32_t addrBase;
  uint32_t loclistsBase;
  uint32_t rnglistsBase;
  uint32_t lowPc;       // base of the unit's lists
  uint32_t lineOffset;  // in .debug_line
  uint32_t language;    // DW_LANG_ value
  char* producer;       // empty for none
  DescModule* module;   // null for a partial and a type unit
  uint16_t version;
  uint8_t addressSize;
  uint8_t offsetSize;
  UnitKind kind;
  bool isInTypes;    // in .debug_types
  bool hasChildren;  // whether the unit has entries beside its own
  bool hasLines;     // whether it says where its line program is
};

class UnitDirectory {
 public:
  UnitDirectory() = default;

  // The unit that holds an entry, or null.
  const UnitPlace* UnitOf(uint32_t entry) const;

  // The number of the entry that a type unit's signature stands for; false for an unknown one.
  bool TypeOf(uint32_t signature, uint32_t signatureHigh, uint32_t* entry) const;

  uint32_t Count() const { return count_; }
  const UnitPlace& operator[](uint32_t index) const { return units_[index]; }

  // What the values of a unit depend on.
  static UnitForms FormsOf(const UnitPlace& unit, const Dwarf2Rules& rules);

 private:
  friend class UnitList;

  UnitPlace* units_ = nullptr;  // ascending by start
  uint32_t count_ = 0;
  uint32_t* signatures_ = nullptr;  // numbers of the type units, ascending by signature
  uint32_t signatureCount_ = 0;
};

// Units under construction.
class UnitList {
 public:
  // Units come in the order of their entries' numbers. False without memory.
  bool Add(const UnitPlace& unit) { return units_.Push(unit); }
  UnitPlace& Last() { return units_[units_.Count() - 1]; }
  void Empty() { units_.Empty(); }

  // Moves the units into a directory in the heap. False without memory.
  bool MoveTo(UnitDirectory* directory, mem_desc* heap);

 private:
  GrowingArray<UnitPlace> units_;
};
