// What the fills of a DWARF 1 build share: a record for each fundamental type. They are on no module's `types`.
#pragma once

#include "dwarf1/dwarf1_constants.h"
#include "records/desc_module.h"

struct Dwarf1Build : BuildRecords {
  DescType* basicTypes[FT_COUNT];  // by FT_ code

  // The record of an FT_ code; "???" for a code without one.
  DescType* BasicType(uint32_t code) const { return basicTypes[code < FT_COUNT ? code : 0]; }

  // A typedef with a basic type's own name says which size that type has for this compiler. Other names do nothing.
  // The records are shared: the size holds at once for all modules.
  void ApplyTypedefSize(const char* name, int32_t byteSize);
};

// In the table heap. `intSize` is the size of the three int types in bytes. Null without memory.
Dwarf1Build* NewDwarf1Build(RecordHeap* tableHeap, int32_t intSize);
