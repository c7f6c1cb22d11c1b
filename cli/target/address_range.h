// Ranges of target addresses.
#pragma once

#include <cstdint>
#include <vector>

namespace elfload {

struct AddressRange {
  uint32_t first = 0;
  uint32_t last = 0;  // included
};

// Sorts the ranges and makes one of those that overlap or follow each other without a gap.
void JoinRanges(std::vector<AddressRange>& ranges);

}  // namespace elfload
