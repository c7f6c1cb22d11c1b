// Frame information: the records of `.debug_frame`, with their call frame instructions as raw bytes.
#pragma once

#include <cstdint>

#include "tarnixcore/heap.h"

struct Dwarf2Fde;
struct ElfImage;

// Reads the whole section with one address size, that of the first unit, and gives the frame descriptions ascending by
// `lowPc`. Null without the section. After a failure the records read so far stand.
Dwarf2Fde* ReadDwarf2Frames(ElfImage* image, mem_desc* tableHeap, uint8_t addressSize);
