// Flash of a GDB stub's target: erased in whole blocks before the first write, written, and ended by vFlashDone. A stub
// may hold back what was written until then.
#include <fmt/format.h>

#include <algorithm>

#include "target/gdb_target.h"

namespace elfload {

namespace {

constexpr size_t WRITE_HEADER_SIZE = 24;    // "vFlashWrite:", an address, ':'
constexpr uint32_t LONGEST_PATIENCE = 120;  // time limits for an erasure, one for each block
constexpr int DONE_PATIENCE = 12;

// The blocks of a flash region that a range touches. The range has an address in the region.
AddressRange TouchedBlocks(const MemoryRegion& region, const AddressRange& range) {
  const uint32_t first = std::max(range.first, region.first) - region.first;
  const uint32_t last = std::min(range.last, region.last) - region.first;
  const uint64_t end = (uint64_t{last} / region.eraseSize + 1) * region.eraseSize - 1;
  return {region.first + first / region.eraseSize * region.eraseSize,
          static_cast<uint32_t>(std::min<uint64_t>(region.first + end, region.last))};
}

}  // namespace

// Ranges that touch the same block erase it once.
bool GdbTarget::EraseFlash() {
  JoinRanges(plannedWrites_);
  for (const MemoryRegion& region : memoryMap_.Regions()) {
    auto range = std::lower_bound(plannedWrites_.begin(), plannedWrites_.end(), region.first,
                                  [](const AddressRange& planned, uint32_t first) { return planned.last < first; });
    std::vector<AddressRange> blocks;
    for (; region.eraseSize != 0 && range != plannedWrites_.end() && range->first <= region.last; ++range) {
      blocks.push_back(TouchedBlocks(region, *range));
    }
    JoinRanges(blocks);
    for (const AddressRange& erased : blocks) {
      if (!EraseRange(erased, region.eraseSize)) {
        return false;
      }
    }
  }
  return true;
}

bool GdbTarget::EraseRange(const AddressRange& range, uint32_t blockSize) {
  const uint32_t length = range.last - range.first + 1;
  const uint32_t blocks = length / blockSize;
  return Confirm(fmt::format("vFlashErase:{:x},{:x}", range.first, length),
                 "erasing " + DescribeRange(range.first, range.last),
                 static_cast<int>(std::clamp(blocks, uint32_t{DONE_PATIENCE}, LONGEST_PATIENCE)));
}

bool GdbTarget::WriteFlash(uint32_t address, std::string_view data) {
  if (!flashErased_ && !EraseFlash()) {
    return false;
  }
  flashErased_ = true;
  const size_t room = client_.PayloadLimit() - WRITE_HEADER_SIZE;
  while (!data.empty()) {
    std::string request = fmt::format("vFlashWrite:{:x}:", address);
    size_t count = 0;
    const size_t end = request.size() + room;
    while (count < data.size() && request.size() + GdbEscapedSize(static_cast<uint8_t>(data[count])) <= end) {
      GdbAppendEscaped(request, static_cast<uint8_t>(data[count++]));
    }
    const auto size = static_cast<uint32_t>(count);
    if (!Confirm(request, "writing flash " + DescribeRange(address, address + size - 1), DONE_PATIENCE)) {
      return false;
    }
    flashOpen_ = true;
    address += size;
    data.remove_prefix(count);
  }
  return true;
}

bool GdbTarget::EndFlash() {
  if (!flashOpen_) {
    return true;
  }
  flashOpen_ = false;
  return Confirm("vFlashDone", "ending the writes to flash", DONE_PATIENCE);
}

}  // namespace elfload
