// Variables, parameters and members: an entry becomes a DescVar with its location.
#pragma once

#include <cstdint>

#include "dwarf1/attributes.h"
#include "records/debug_records.h"

namespace dwarf1 {

// Where the locations of a scope hold: everywhere, or in the addresses of its lexical block.
struct AddressRange {
  uint32_t low = 0;
  uint32_t high = 0xFFFFFFFF;
};

// Reads an entry into a new record. A bit field goes on the module's `pendingFields` too, unless a corrupt form ended
// the entry.
DescVar* ReadVariableEntry(DescModule* module, uint32_t remaining, AddressRange range, uint32_t* nextOffset);

// The same for an entry of unspecified parameters, which is named "..." when it has no name.
DescVar* ReadEllipsisEntry(DescModule* module, uint32_t remaining, AddressRange range, uint32_t* nextOffset);

}  // namespace dwarf1
