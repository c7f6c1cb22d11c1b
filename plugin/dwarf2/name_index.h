// The index sections `.debug_pubnames` and `.debug_aranges`, onto the modules that their sets belong to.
#pragma once

#include "tarnixcore/heap.h"

struct DescModule;
struct ElfImage;

// Fills `globalNames` and `addrRanges` of the modules on the list. Both sections are optional. A set of another version
// than 2, and a set for a unit that no module has, end the reading quietly, with what was read so far kept.
void ReadDwarf2NameIndexes(ElfImage* image, mem_desc* tableHeap, DescModule* modules);
