// Arrays and their subscript data.
#pragma once

#include <cstdint>

struct DescModule;

namespace dwarf1 {

// The record goes on the module's `pendingArrays` too, unless a corrupt form ended the entry.
void ReadArrayType(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset);

}  // namespace dwarf1
