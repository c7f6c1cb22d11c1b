// The dispatch of an entry that its place gives no role of its own: types are read, the rest is skipped.
#pragma once

#include "dwarf1/attributes.h"

struct DescModule;

namespace dwarf1 {

// `nextOffset` receives the entry's AT_sibling, if it has one. Must follow the entry's header directly.
void ReadEntry(DescModule* module, const EntryHeader& entry, uint32_t* nextOffset);

// Skips the entry, whatever its tag. Types among its children are read.
void SkipEntryTree(DescModule* module, const EntryHeader& entry, uint32_t* nextOffset);

}  // namespace dwarf1
