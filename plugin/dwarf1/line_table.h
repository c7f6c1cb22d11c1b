// Line tables of `.line`: one table per unit becomes a DescFile and DescLineBlock records.
//
//   +0  4  length in bytes, this field included, signed
//   +4  4  base address
//   +8     rows of 10 bytes: line (4), position in the line (2, 0xFFFF: none), offset from the base address (4)
// The last row ends the table and is no row of its own.
#pragma once

#include "tarnixcore/list.h"

struct DescModule;

namespace dwarf1 {

// Reads the table at the unit's `lineOffset`, and appends the addresses that its rows cover to `ranges` as a
// DescLineRange. Nothing happens where there is no `.line`, or where the table claims to be larger than the section.
void ReadLineTable(DescModule* module, L_list* ranges);

}  // namespace dwarf1
