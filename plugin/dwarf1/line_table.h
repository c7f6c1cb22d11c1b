// Line tables of `.line`: one table for each unit becomes a DescFile and DescLineBlock records.
//
//   +0  4  length in bytes, this field included, signed
//   +4  4  base address
//   +8     rows of 10 bytes: line (4), position in the line (2, 0xFFFF: none), offset from the base address (4)
// The last row ends the table and is no row of its own.
#pragma once

#include "dwarf1/file.h"
#include "records/debug_records.h"
#include "records/record_heap.h"
#include "tarnixcore/list.h"

namespace dwarf1 {

// Reads the table at the unit's `lineOffset`, and appends the addresses that its rows cover to `ranges` as a
// DescLineRange. Nothing happens when there is no `.line`, or when the table is longer than the section.
void ReadLineTable(const File& file, Cursor* lines, RecordHeap* heap, DescModule* module, L_list* ranges);

}  // namespace dwarf1
