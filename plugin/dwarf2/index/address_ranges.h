// Addresses of units: .debug_aranges.
#pragma once

#include "dwarf2/index/name_index.h"

// By the loader's rules: the first set that cannot be read ends the reading.
void ReadRangesInOrder(Cursor* cursor, const SectionPlace& section, const IndexedModules& units);

// As published: each set by its length. A unit with a range that no code can be in has all its data among the ranges.
void ReadPublishedRanges(Cursor* cursor, const IndexSource& source, const IndexedModules& units);
