// The index sections: public names and address ranges of units, as .debug_pubnames and .debug_aranges have them; as
// published names of .debug_gnu_pubnames and .debug_names too, for units that no index before names.
//
//   ReadDwarf2NameIndexes(&cursor, source, modules, &tableHeap);
//
// With the loader's rules a missing section, a wrong version, a range set without an address size and a set of no unit
// end the reading quietly, with what was read so far kept. As published, such a set costs only itself.
#pragma once

#include "dwarf/index_records.h"
#include "dwarf2/build_records.h"
#include "dwarf2/dead_code.h"
#include "dwarf2/sections.h"

// Tells the names of entries, for an index that has only the plain ones.
struct NameOfEntry {
  // The qualified name of the entry at an offset of .debug_info, in a module's unit; the text must live as long as the
  // table. Null for an entry that is not on the lists of its module.
  char* (*ask)(void* context, DescModule* module, uint32_t entry);  // null: the plain names of the index serve
  void* context;
};

struct IndexSource {
  const ElfImage* image;
  const Dwarf2Sections* sections;
  const DeadCode* deadCode;
  NameOfEntry nameOfEntry;
  Failure* failure;
  Allowance* allowance;
};

// What is read becomes records of these.
struct IndexedModules {
  ModulesByUnit byUnit;
  Dwarf2Build* build;
  RecordHeap* heap;  // of the table
};

void ReadDwarf2NameIndexes(Cursor* cursor, const IndexSource& source, DescModule* modules, RecordHeap* tableHeap);
