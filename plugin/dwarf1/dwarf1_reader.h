// The entry operations of the DWARF 1 reader, as the loader calls them.
#pragma once

#include <cstdint>

#include "tarnixcore/heap.h"
#include "tarnixcore/list.h"

struct DescModule;
struct ElfImage;

// Makes the module list of a file that carries `.debug`: one DescModule per compile unit, adjacent units of one source
// file merged, with the names and ranges of the index sections. `intSize` is the size of the type int in bytes. 1 for
// success; `modules` is set in both cases.
int ReadDwarf1Modules(ElfImage* image, mem_desc* tableHeap, DescModule** modules, int32_t intSize);

// Fills a module, and first those merged into it, and appends DescLineRange records to `ranges`. 1 for success.
int FillDwarf1Module(ElfImage* image, DescModule* module, L_list* ranges);
