// Which memory a target has: ranges of addresses and what may be done there.
//
//   RegionMap map;
//   MemoryRegion region;
//   ParseRegion("0x8000-0xFFFF:rx", region, error) && map.Add(region, error);
//   if (!map.Check(0x8000, 0x81FF, true, reason)) ...
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace elfload {

struct MemoryRegion {
  uint32_t first = 0;
  uint32_t last = 0;  // included
  bool readable = true;
  bool writable = true;  // by the program that runs there; a loader may fill read-only memory
  bool executable = true;
  uint32_t eraseSize = 0;  // flash: bytes of a block that is erased as a whole, blocks counted from `first`; else 0
};

// Parses "FIRST-LAST" or "FIRST-LAST:FLAGS", decimal or 0x hex, LAST included, FLAGS of r, w and x; rwx without.
bool ParseRegion(std::string_view text, MemoryRegion& region, std::string& error);

// "0x00008000-0x0000FFFF:rx"
std::string DescribeRegion(const MemoryRegion& region);
std::string DescribeRange(uint32_t first, uint32_t last);

// Kept sorted and without overlap. An empty map allows everything.
class RegionMap {
 public:
  // False with `error` set when the region overlaps another.
  bool Add(const MemoryRegion& region, std::string& error);
  bool Empty() const { return regions_.empty(); }
  const std::vector<MemoryRegion>& Regions() const { return regions_; }

  // Null outside all regions.
  const MemoryRegion* Find(uint32_t address) const;

  // Whether `first` to `last` is wholly inside regions that may be written where `writable` asks for it. Neighbours
  // without a gap count as one. `reason` says which part does not.
  bool Check(uint32_t first, uint32_t last, bool writable, std::string& reason) const;

 private:
  std::vector<MemoryRegion> regions_;
};

}  // namespace elfload
