// Frame information: the records of .debug_frame, with their call frame instructions as raw bytes.
#pragma once

#include <cstdint>

#include "dwarf2/sections.h"
#include "records/debug_records.h"
#include "records/record_heap.h"

// Reads the whole section with one address size, that of the first unit, and returns the frame descriptions ascending
// by `lowPc`. Null without the section. After a failure the records read so far are kept.
Dwarf2Fde* ReadDwarf2Frames(Cursor* cursor, const ByteSource* file, const SectionPlace& section, RecordHeap* tableHeap,
                            uint8_t addressSize);
