// The index sections: public names and address ranges of units, as .debug_pubnames and .debug_aranges have them.
//
//   ReadDwarf2NameIndexes(&cursor, sections, modules, &tableHeap);
//
// A missing section, a wrong version, a range set without an address size and a set of no unit end the reading
// quietly, with what was read so far kept.
#pragma once

#include "dwarf2/sections.h"
#include "records/debug_records.h"
#include "records/record_heap.h"

void ReadDwarf2NameIndexes(Cursor* cursor, const ByteSource* file, const Dwarf2Sections& sections, DescModule* modules,
                           RecordHeap* tableHeap);
