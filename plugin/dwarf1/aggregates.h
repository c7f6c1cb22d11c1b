// Structures, unions and classes with their members and member functions.
#pragma once

#include <cstdint>

struct DescModule;

namespace dwarf1 {

// `tag` is TAG_structure_type, TAG_union_type or TAG_class_type.
void ReadAggregateType(DescModule* module, uint32_t tag, uint32_t key, uint32_t remaining, uint32_t* nextOffset);

}  // namespace dwarf1
