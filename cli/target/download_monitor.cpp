// The loader takes the segments in the order of their headers and each segment in blocks from its first byte on: a
// write begins the next block, and so does a read that follows no write. So it is known where a block belongs even when
// segments share their virtual addresses.
#include "target/download_monitor.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "target/load_code.h"
#include "target/region_map.h"

namespace elfload {

std::vector<SegmentToLoad> SegmentsToLoad(const std::vector<ElfSegment>& headers, Placement placement) {
  const bool hasPhysical = std::any_of(headers.begin(), headers.end(), [](const ElfSegment& header) {
    return header.type == SEGMENT_LOAD && header.paddr != 0;
  });
  std::vector<SegmentToLoad> segments;
  for (size_t i = 0; i < headers.size(); i++) {
    const ElfSegment& header = headers[i];
    if (header.type != SEGMENT_LOAD || header.memsz == 0) {
      continue;
    }
    SegmentToLoad segment;
    segment.index = static_cast<uint32_t>(i);
    segment.offset = header.offset;
    segment.address = header.vaddr != 0 ? header.vaddr : header.paddr;
    segment.placed = placement == Placement::physicalAddress && hasPhysical ? header.paddr : segment.address;
    segment.fileSize = header.filesz;
    segment.memorySize = header.memsz;
    segment.writable = (header.flags & SEGMENT_WRITABLE) != 0;
    segments.push_back(segment);
  }
  return segments;
}

DownloadMonitor::DownloadMonitor(LoadTarget& target, std::vector<SegmentToLoad> segments, bool dryRun)
    : target_(target), segments_(std::move(segments)), dryRun_(dryRun) {
  std::vector<AddressRange> ranges;
  for (const SegmentToLoad& segment : segments_) {
    if (segment.fileSize != 0) {
      ranges.push_back({segment.placed, segment.placed + segment.fileSize - 1});
      fileEnd_ = std::max(fileEnd_, uint64_t{segment.offset} + segment.fileSize);
    }
  }
  target_.PlanWrites(ranges);
  lastRead_.reserve(LOAD_BLOCK_SIZE);
}

DownloadMonitor::~DownloadMonitor() = default;

uint64_t DownloadMonitor::TotalBytes() const {
  uint64_t total = 0;
  for (const SegmentToLoad& segment : segments_) {
    total += segment.fileSize;
  }
  return total;
}

int DownloadMonitor::Fail(DownloadStep step, const SegmentToLoad* segment, AddressRange range, std::string reason) {
  if (failure_.step == DownloadStep::none) {
    failure_ = {.step = step, .segment = {}, .range = range, .reason = std::move(reason)};
    if (segment != nullptr) {
      failure_.segment = segment->index;
    }
  }
  return 0;
}

// A segment that is stored away from where it will run only stores its bytes there: it needs no room for more, and it
// is not written to at that place by the program.
int DownloadMonitor::Check(uint32_t first, uint32_t last, const char* name, int memoryType) {
  if (checked_ >= segments_.size() || segments_[checked_].address != first) {
    return Fail(DownloadStep::check, nullptr, {first, last},
                "the loader asks for a segment that the file does not have");
  }
  const SegmentToLoad& segment = segments_[checked_++];
  if (segment.fileSize > segment.memorySize) {
    return Fail(DownloadStep::check, &segment, {first, last}, "more bytes in the file than in memory");
  }
  checkedBytes_ += segment.fileSize;
  if (checkedBytes_ > MAXIMUM_SHARING * fileEnd_) {
    return Fail(DownloadStep::check, &segment, {first, last},
                fmt::format("the segments up to this one take {} bytes out of {} in the file, more than {} times as "
                            "many: link it so that they do not share their bytes",
                            checkedBytes_, fileEnd_, MAXIMUM_SHARING));
  }
  if (segment.placed != segment.address) {
    if (segment.fileSize == 0) {
      return 1;
    }
    first = segment.placed;
    last = segment.placed + segment.fileSize - 1;
    memoryType = TARGET_READ_ONLY;
  }
  if (last < first) {
    return Fail(DownloadStep::check, &segment, {first, last}, "the range runs over the end of the address space");
  }
  const int result = target_.CheckMemory(first, last, name, memoryType);
  return result != 0 ? result : Fail(DownloadStep::check, &segment, {first, last}, target_.Reason());
}

void DownloadMonitor::SkipSegmentsWithoutBytes() {
  while (current_ < segments_.size() && segments_[current_].fileSize == 0) {
    current_++;
  }
}

bool DownloadMonitor::NextBlock(uint32_t address, uint32_t count) {
  SkipSegmentsWithoutBytes();
  offset_ += length_;
  if (current_ < segments_.size() && offset_ >= segments_[current_].fileSize) {
    current_++;
    offset_ = 0;
    SkipSegmentsWithoutBytes();
  }
  length_ =
      current_ < segments_.size() ? std::min(segments_[current_].fileSize - offset_, uint32_t{LOAD_BLOCK_SIZE}) : 0;
  lastRead_.clear();
  blockIsWritten_ = false;
  if (length_ == 0 || count > length_ || segments_[current_].address + offset_ != address) {
    return false;
  }
  blocks_ += dryRun_ ? 0 : 1;
  bytes_ += dryRun_ ? 0 : length_;
  return true;
}

int DownloadMonitor::Write(Address address, const void* buffer, uint32_t count, int access) {
  if (!NextBlock(address.offset, count)) {
    return Fail(DownloadStep::write, nullptr, {address.offset, address.offset + count - 1},
                "the loader writes a block that the file does not have");
  }
  blockIsWritten_ = true;
  if (dryRun_) {
    return 1;
  }
  Address placed = address;
  placed.offset = PlacedAddress();
  const int result = target_.WriteBlock(placed, buffer, count, access);
  if (result != 1) {
    blocks_--;
    bytes_ -= length_;
    Fail(DownloadStep::write, &segments_[current_], {placed.offset, placed.offset + count - 1}, target_.Reason());
  }
  return result;
}

int DownloadMonitor::Read(Address address, void* buffer, uint32_t count, int access) {
  if (!blockIsWritten_ && !NextBlock(address.offset, count)) {
    return Fail(DownloadStep::read, nullptr, {address.offset, address.offset + count - 1},
                "the loader reads a block that the file does not have");
  }
  blockIsWritten_ = false;
  if (dryRun_) {
    return 0;
  }
  Address placed = address;
  placed.offset = PlacedAddress();
  const int result = target_.ReadBlock(placed, buffer, count, access);
  if (result != 1) {
    return Fail(DownloadStep::read, &segments_[current_], {placed.offset, placed.offset + count - 1}, target_.Reason());
  }
  lastRead_.assign(static_cast<uint8_t*>(buffer), static_cast<uint8_t*>(buffer) + count);
  verifiedBytes_ += count;
  return result;
}

std::optional<DownloadMonitor::Difference> DownloadMonitor::FindDifference(uint32_t loaderAddress) {
  if (current_ >= segments_.size() || lastRead_.empty()) {
    return std::nullopt;
  }
  const SegmentToLoad& segment = segments_[current_];
  const uint32_t inBlock = loaderAddress - segment.address - offset_;
  if (inBlock >= lastRead_.size()) {
    return std::nullopt;
  }
  verifiedBytes_ -= lastRead_.size();
  return Difference{PlacedAddress() + inBlock, lastRead_[inBlock], segment.index};
}

int DownloadMonitor::Start(uint32_t address) {
  const int result = dryRun_ ? 1 : target_.SetStartAddress(address);
  if (result == 0) {
    return Fail(DownloadStep::start, nullptr, {address, address}, target_.Reason());
  }
  if (!dryRun_) {
    startAddress_ = address;
  }
  return result;
}

}  // namespace elfload
