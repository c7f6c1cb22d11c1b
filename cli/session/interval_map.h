// Finds, of many ranges of addresses, the one of the best rank that holds an address.
//
//   IntervalMap map({{0x100, 0x200}, {0x000, 0x1000}});   // the best rank first
//   map.Find(0x180);                                      // 0
//   map.Find(0x200);                                      // 1
//   map.Find(0x1000);                                     // IntervalMap::NONE
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace elfload {

class IntervalMap {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  struct Interval {
    uint32_t low;
    uint64_t end;  // one past the last address; an interval that ends where it begins, or before, holds none
  };

  // `intervals` in the order of their ranks. Takes time and memory in proportion to n log n and n.
  explicit IntervalMap(const std::vector<Interval>& intervals);

  // Index of an interval, in the order of the constructor's argument, or NONE.
  uint32_t Find(uint32_t address) const;

 private:
  struct Piece {
    uint32_t start;  // it reaches up to the next piece
    uint32_t owner;
  };
  std::vector<Piece> pieces_;  // by address
};

}  // namespace elfload
