// The unit scan: from unit to unit along AT_sibling, a DescModule for each. Only the units' own entries are read.
#pragma once

#include "dwarf1/dwarf1_build.h"
#include "dwarf1/entry_cursor.h"

namespace dwarf1 {

// The modules of `.debug`, in the table heap and without heaps of their own. An entry that is neither unit nor padding
// is a failure, and so is no memory. An unassigned form in a unit's entry leaves the unit without name and range.
DescModule* ScanUnits(EntryCursor* debug, const SectionPlace& section, RecordHeap* tableHeap, Dwarf1Build* build);

}  // namespace dwarf1
