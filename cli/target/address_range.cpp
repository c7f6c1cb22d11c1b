#include "target/address_range.h"

#include <algorithm>
#include <cstddef>

namespace elfload {

void JoinRanges(std::vector<AddressRange>& ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const AddressRange& a, const AddressRange& b) { return a.first < b.first; });
  size_t count = 0;
  for (const AddressRange range : ranges) {
    if (count != 0 && range.first <= uint64_t{ranges[count - 1].last} + 1) {
      ranges[count - 1].last = std::max(ranges[count - 1].last, range.last);
    } else {
      ranges[count++] = range;
    }
  }
  ranges.resize(count);
}

}  // namespace elfload
