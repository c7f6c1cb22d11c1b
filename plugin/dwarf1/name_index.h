// The index sections `.debug_pubnames` and `.debug_aranges` in the layout of DWARF 1, whose version field has one byte.
#pragma once

struct DescModule;

namespace dwarf1 {

// Hangs names and address ranges on the modules: `globalNames` and `addrRanges`, newest first, in the module heaps.
// Begins by clearing the latch. 0 when a set ended the reading; what was read before it stays.
int ReadDwarf1NameIndexes(DescModule* modules);

}  // namespace dwarf1
