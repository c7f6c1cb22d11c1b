// Where units begin as the indexes have it: the way on after a unit whose length is of no use.
#pragma once

#include <cstdint>

#include "dwarf2/sections.h"
#include "elf/cursor.h"
#include "records/growing_array.h"

class ListedUnits {
 public:
  // Reads the headers of .debug_aranges, .debug_pubnames and .debug_names. What cannot be read ends its section.
  void Read(Cursor* cursor, const Dwarf2Sections& sections);

  // The first unit that an index lists after `offset` in .debug_info; 0 for none.
  uint32_t After(uint32_t offset);

 private:
  void ReadSets(Cursor* cursor, const SectionPlace& section);
  void ReadNames(Cursor* cursor, const SectionPlace& section);

  GrowingArray<uint32_t> offsets_;  // ascending
};
