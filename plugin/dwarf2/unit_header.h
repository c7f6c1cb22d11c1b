// The header of a unit of version 2 to 5, as published.
#pragma once

#include "dwarf2/unit_directory.h"
#include "elf/cursor.h"

// Reads the header at the cursor, which is left at the unit's own entry, into the fields of `unit` that headers have;
// offsets are those of the section. `*end` is where the next unit begins, set even when the rest cannot be read, unless
// the length itself is of no use: then it is 0. False, with the failure noted, for a unit that cannot be read.
bool ReadUnitHeader(Cursor* cursor, uint32_t sectionSize, bool isInTypes, UnitPlace* unit, uint32_t* end);
