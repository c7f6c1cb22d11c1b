// Frame information: the records of .debug_frame, with their call frame instructions as raw bytes; as published those
// of .eh_frame too, for code that .debug_frame does not cover.
#pragma once

#include <cstdint>

#include "dwarf2/dead_code.h"
#include "dwarf2/rules.h"
#include "dwarf2/sections.h"
#include "records/debug_records.h"
#include "records/record_heap.h"

// What the frame descriptions of a file are read from, and by.
struct FrameSource {
  const ElfImage* image;
  const Dwarf2Sections* sections;
  const Dwarf2Rules* rules;
  const DeadCode* deadCode;
  uint8_t addressSize;  // of the first unit: .debug_frame does not say one before version 4 of its records
};

// Reads whole sections and returns the frame descriptions ascending by `lowPc`. Null without a section. After a failure
// the records read so far are kept; as published, a record that cannot be read costs only itself.
Dwarf2Fde* ReadDwarf2Frames(Cursor* cursor, const FrameSource& source, RecordHeap* tableHeap);
