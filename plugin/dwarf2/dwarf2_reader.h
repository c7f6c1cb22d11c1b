// The entry operations of the DWARF 2 reader, as the loader calls them.
#pragma once

#include "tarnixcore/heap.h"
#include "tarnixcore/list.h"

struct DescModule;
struct ElfImage;

// Makes the module list of a file that carries `.debug_info`: one DescModule per unit, each with its abbreviations; no
// entry behind a unit's first is read. 1 for success. On failure `modules` is set or left as it was; where it is left,
// nothing of the scan stays behind.
int ReadDwarf2Modules(ElfImage* image, mem_desc* tableHeap, DescModule** modules);

// Fills a module from its line program and its entries, and appends DescLineRange records to `ranges`. 1 for success;
// after a failure what was read before it stands.
int FillDwarf2Module(ElfImage* image, DescModule* module, L_list* ranges);
