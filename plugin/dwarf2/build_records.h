// What the DWARF 2 reader keeps in the table heap beside the records: for a build the texts of .debug_str, for a module
// the places that a fill begins at.
#pragma once

#include "dwarf2/form_values.h"
#include "dwarf2/rules.h"
#include "dwarf2/string_section.h"
#include "dwarf2/unit_directory.h"
#include "records/desc_module.h"
#include "tarnixcore/heap.h"

// The index that the names of a module are from. As published the first of these that names the unit is.
enum class NameSource : uint8_t { none, pubnames, gnuPubnames, debugNames };

struct Dwarf2Build : BuildRecords {
  const Dwarf2Rules* rules;
  uint32_t codeMask;  // what an address of code keeps: on ARM bit 0 says how the code is run
  mem_desc* tableHeap;
  DescType* characterType;    // as published: of a string
  StringSection strings;      // .debug_str
  StringSection lineStrings;  // .debug_line_str
  UnitDirectory units;        // as published; empty with the loader's rules
};

// What a fill needs to find its unit again, beside the fields that a host knows.
struct Dwarf2ModuleExt : ReaderModuleExt {
  NameSource nameSource;  // of `globalNames`
  bool listsData;         // one of these names may be of a variable
  uint32_t unitEnd;       // of the unit in .debug_info, as its length has it
  uint32_t abbrevOffset;  // of its abbreviations in .debug_abbrev

  // As published.
  const UnitPlace* unit;
  AttributeValue ranges;  // DW_AT_ranges
  bool hasLines;          // whether `lineOffset` is that of a program; true by the loader's rules
};

inline Dwarf2Build* Dwarf2BuildOf(const DescModule* module) {
  return static_cast<Dwarf2Build*>(BuildOf(module));
}

inline Dwarf2ModuleExt* Dwarf2ExtOf(const DescModule* module) {
  return static_cast<Dwarf2ModuleExt*>(module->ext);
}
