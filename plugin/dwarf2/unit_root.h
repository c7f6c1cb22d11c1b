// The entry of a unit itself, as published: what it says of the unit, whatever the order of its attributes.
#pragma once

#include "dwarf2/abbreviations.h"
#include "dwarf2/form_values.h"
#include "dwarf2/unit_directory.h"

struct UnitRoot {
  AttributeValue name;
  AttributeValue directory;
  AttributeValue producer;
  AttributeValue lowPc;
  AttributeValue highPc;
  AttributeValue ranges;
  AttributeValue dwoName;  // of the file that has the unit's entries
};

// Reads the entry at the cursor: its own part goes to `root`, what a fill needs to `unit`. False, with the failure
// noted, when it is no unit's entry, or cannot be read.
bool ReadUnitRoot(Cursor* cursor, AbbrevTable* abbrevs, FormValues* values, const Dwarf2Rules& rules, UnitPlace* unit,
                  UnitRoot* root);
