// Enumerations.
#pragma once

#include <cstdint>

struct DescModule;

namespace dwarf1 {

void ReadEnumerationType(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset);

}  // namespace dwarf1
