// Which memory a target has.
#include "target/region_map.h"

#include <fmt/format.h>

#include <algorithm>

#include "target/number.h"

namespace elfload {

namespace {

bool ParseFlags(std::string_view text, MemoryRegion& region) {
  region.readable = text.find('r') != std::string_view::npos;
  region.writable = text.find('w') != std::string_view::npos;
  region.executable = text.find('x') != std::string_view::npos;
  return !text.empty() && text.find_first_not_of("rwx") == std::string_view::npos;
}

}  // namespace

bool ParseRegion(std::string_view text, MemoryRegion& region, std::string& error) {
  const size_t colon = text.find(':');
  const std::string_view range = text.substr(0, colon);
  const size_t dash = range.find('-');
  region = {};
  if (dash == std::string_view::npos || !ParseNumber(range.substr(0, dash), region.first) ||
      !ParseNumber(range.substr(dash + 1), region.last)) {
    error = "expected FIRST-LAST[:FLAGS] with 32-bit addresses, as in 0x8000-0xFFFF:rx";
    return false;
  }
  if (region.last < region.first) {
    error = "the last address is below the first";
    return false;
  }
  if (colon != std::string_view::npos && !ParseFlags(text.substr(colon + 1), region)) {
    error = "the flags are letters of \"rwx\"";
    return false;
  }
  return true;
}

std::string DescribeRange(uint32_t first, uint32_t last) {
  return fmt::format("0x{:08X}-0x{:08X}", first, last);
}

std::string DescribeRegion(const MemoryRegion& region) {
  return fmt::format("{}:{}{}{}", DescribeRange(region.first, region.last), region.readable ? "r" : "",
                     region.writable ? "w" : "", region.executable ? "x" : "");
}

bool RegionMap::Add(const MemoryRegion& region, std::string& error) {
  const auto next = std::upper_bound(regions_.begin(), regions_.end(), region.first,
                                     [](uint32_t first, const MemoryRegion& other) { return first < other.first; });
  const bool overlapsNext = next != regions_.end() && next->first <= region.last;
  if (overlapsNext || (next != regions_.begin() && std::prev(next)->last >= region.first)) {
    error = fmt::format("the region {} overlaps {}", DescribeRegion(region),
                        DescribeRegion(overlapsNext ? *next : *std::prev(next)));
    return false;
  }
  regions_.insert(next, region);
  return true;
}

const MemoryRegion* RegionMap::Find(uint32_t address) const {
  const auto next = std::upper_bound(regions_.begin(), regions_.end(), address,
                                     [](uint32_t first, const MemoryRegion& other) { return first < other.first; });
  return next != regions_.begin() && std::prev(next)->last >= address ? &*std::prev(next) : nullptr;
}

bool RegionMap::Check(uint32_t first, uint32_t last, bool writable, std::string& reason) const {
  if (last < first) {
    reason = "the range runs over the end of the address space";
    return false;
  }
  if (regions_.empty()) {
    return true;
  }
  for (uint32_t address = first;;) {
    const MemoryRegion* region = Find(address);
    if (region == nullptr) {
      reason = fmt::format("there is no memory at 0x{:08X}", address);
      return false;
    }
    if (writable && !region->writable) {
      reason = fmt::format("the segment is writable, the memory {} is not", DescribeRegion(*region));
      return false;
    }
    if (region->last >= last) {
      return true;
    }
    address = region->last + 1;
  }
}

}  // namespace elfload
