// Subroutines and labels with what stands in their scopes, and subroutine types.
#pragma once

#include <cstdint>

#include "dwarf1/attributes.h"
#include "records/debug_records.h"

namespace dwarf1 {

// Reads the attributes of a subroutine or label into a new record. Its children follow.
DescProc* ReadSubroutineEntry(DescModule* module, uint32_t remaining, uint32_t* nextOffset);

// The same with the children: parameters and locals, those of nested blocks included.
DescProc* ReadSubroutineTree(DescModule* module, uint32_t remaining, uint32_t* nextOffset);

// Reads a subroutine type and its children, of which only the parameters become records of the type.
void ReadSubroutineTypeTree(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset);

}  // namespace dwarf1
