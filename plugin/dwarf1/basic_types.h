// The shared records of the fundamental types. They stand on no module's `types` and live in the table heap.
#pragma once

#include <cstdint>

#include "tarnixcore/heap.h"

struct DescType;

namespace dwarf1 {

// Makes the records of a scan. `intSize` is the size of the three int types in bytes.
void CreateBasicTypes(mem_desc* tableHeap, int32_t intSize);

// The record of an FT_ code; "???" for a code without one.
DescType* BasicType(uint32_t code);

// A typedef that has a basic type's own name tells the size which that type has for this compiler. Other names do
// nothing. The records are shared: the size holds at once for all modules.
void ApplyBasicTypeSize(const char* name, int32_t byteSize);

}  // namespace dwarf1
