// Names of units in the form of DWARF 5: .debug_names.
#pragma once

#include "dwarf2/index/name_index.h"

// Adds the procedures and variables of units that no index before names. A set that cannot be read costs only itself;
// the first such set is the reason that is noted.
void ReadDebugNames(const IndexSource& source, const IndexedModules& units);
