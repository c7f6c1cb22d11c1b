#include "target/memory_target.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace elfload {

MemoryTarget::MemoryTarget(RegionMap regions) : regions_(std::move(regions)) {}

MemoryTarget::~MemoryTarget() = default;

int MemoryTarget::WriteBlock(Address address, const void* buffer, uint32_t count, int /*access*/) {
  if (count == 0) {
    return 1;
  }
  const uint32_t last = address.offset + count - 1;
  if (!regions_.Check(address.offset, last, false, reason_)) {
    return 0;
  }
  if (!memory_.Write(address.offset, static_cast<const uint8_t*>(buffer), count)) {
    reason_ = memory_.IsFull() ? fmt::format("the memory is full at 0x{:08X}: it holds {} MiB", address.offset,
                                             SparseMemory::MAXIMUM_BYTES / 0x100000)
                               : fmt::format("out of memory at 0x{:08X}", address.offset);
    return 0;
  }
  AddWritten(address.offset, last);
  return 1;
}

// Blocks follow each other, so nearly every one continues the last range.
void MemoryTarget::AddWritten(uint32_t first, uint32_t last) {
  if (!written_.empty() && uint64_t{written_.back().last} + 1 == first) {
    written_.back().last = last;
  } else {
    sorted_ = sorted_ && (written_.empty() || written_.back().last < first);
    written_.push_back({first, last});
  }
}

const std::vector<AddressRange>& MemoryTarget::Written() {
  if (!sorted_) {
    JoinRanges(written_);
    sorted_ = true;
  }
  return written_;
}

int MemoryTarget::ReadBlock(Address address, void* buffer, uint32_t count, int /*access*/) {
  if (count == 0) {
    return 1;
  }
  const uint32_t last = address.offset + count - 1;
  // The range written last is the one that a verification asks for.
  const bool isLast = !written_.empty() && written_.back().first <= address.offset && last <= written_.back().last;
  if (last < address.offset || (!isLast && !IsWritten(address.offset, last))) {
    reason_ = fmt::format("nothing was written to all of {}", DescribeRange(address.offset, last));
    return 0;
  }
  Copy(address.offset, static_cast<uint8_t*>(buffer), count);
  return 1;
}

bool MemoryTarget::IsWritten(uint32_t first, uint32_t last) {
  const std::vector<AddressRange>& ranges = Written();
  const auto next = std::upper_bound(ranges.begin(), ranges.end(), first,
                                     [](uint32_t address, const AddressRange& range) { return address < range.first; });
  return next != ranges.begin() && std::prev(next)->last >= last;
}

int MemoryTarget::SetStartAddress(uint32_t address) {
  startAddress_ = address;
  return 1;
}

int MemoryTarget::CheckMemory(uint32_t first, uint32_t last, const char* /*name*/, int memoryType) {
  return regions_.Check(first, last, memoryType == TARGET_WRITABLE, reason_) ? 1 : 0;
}

}  // namespace elfload
