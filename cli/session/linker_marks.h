// Addresses that linkers put where code or data was thrown away: 0, 1, -1 and -2, unless a segment has them. A variable
// there is on no list that people read.
#pragma once

#include <cstdint>
#include <string>

namespace elfload {

class LinkerMarks {
 public:
  // No address is a mark.
  LinkerMarks() = default;

  // Those of the file at `path`, by its segments; none when they cannot be read.
  explicit LinkerMarks(const std::string& path);

  bool Has(uint32_t address, uint8_t addressSize) const {
    const uint32_t last = addressSize != 0 && addressSize < 4 ? (1U << 8 * addressSize) - 1 : UINT32_MAX;
    return (address <= 1 && isMark_[address]) || (last - address <= 1 && isLastMark_[last - address]);
  }

 private:
  bool isMark_[2] = {};      // 0 and 1
  bool isLastMark_[2] = {};  // -1 and -2
};

}  // namespace elfload
