// The index sections `.debug_pubnames` and `.debug_aranges` in the layout of DWARF 1, whose version field has one byte.
#pragma once

#include "dwarf1/file.h"

struct DescModule;

namespace dwarf1 {

// Hangs names and address ranges on the modules, newest first, in the module heaps. A set that is wrong ends the
// reading, without a failure: what was read before it is an aid of the finders all the same. No memory is a failure.
void ReadNameIndexes(const File& file, DescModule* modules, Failure* failure, Allowance* allowance);

}  // namespace dwarf1
