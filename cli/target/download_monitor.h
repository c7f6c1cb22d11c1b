// The target that the loader sees, in front of the one that a download goes to: it knows which segment a call belongs
// to, moves segments to their physical addresses, counts, and keeps what went wrong.
//
//   DownloadMonitor monitor(target, SegmentsToLoad(headers, Placement::physical), {});
//   const int result = loader->LoadCode(&monitor, 0, flags);
//   if (result == 0) Report(monitor.Failure());
#pragma once

#include <cstdint>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "target/elf_segment.h"
#include "target/load_target.h"

namespace elfload {

enum class Placement : uint8_t { virtualAddress, physicalAddress };

// A program header that takes room in the target; they are in the order in which the loader takes them.
struct SegmentToLoad {
  uint32_t index = 0;    // of the program header
  uint32_t offset = 0;   // of its bytes in the file
  uint32_t address = 0;  // where the loader puts it
  uint32_t placed = 0;   // where it goes
  uint32_t fileSize = 0;
  uint32_t memorySize = 0;  // never 0
  bool writable = false;
};

// Physical addresses that are all 0 say nothing: the segments stay at their virtual ones.
std::vector<SegmentToLoad> SegmentsToLoad(const std::vector<ElfSegment>& headers, Placement placement);

// How often the bytes of a file may be loaded, over all segments. Linkers store the bytes of each segment apart; a file
// whose segments share bytes would make a download of any length out of a few of them.
constexpr uint64_t MAXIMUM_SHARING = 16;

enum class DownloadStep : uint8_t { none, check, write, read, start };

// The operation of the target that failed.
struct DownloadFailure {
  DownloadStep step = DownloadStep::none;
  std::optional<uint32_t> segment;  // index of the program header
  AddressRange range;               // in the target
  std::string reason;
};

class DownloadMonitor : public Target {
 public:
  // A dry run makes the checks and leaves the target alone.
  DownloadMonitor(LoadTarget& target, std::vector<SegmentToLoad> segments, bool dryRun);
  ~DownloadMonitor() override;

  // The loader is not made for exceptions: without memory an operation fails as any other.
  int WriteBlock(Address address, const void* buffer, uint32_t count, int access) override {
    return Guard(DownloadStep::write, [&] { return Write(address, buffer, count, access); });
  }
  int ReadBlock(Address address, void* buffer, uint32_t count, int access) override {
    return Guard(DownloadStep::read, [&] { return Read(address, buffer, count, access); });
  }
  int SetStartAddress(uint32_t address) override {
    return Guard(DownloadStep::start, [&] { return Start(address); });
  }
  int TargetCapabilities(int code, const char* text) override { return target_.TargetCapabilities(code, text); }
  int Control(int request) override { return target_.Control(request); }
  int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType) override {
    return Guard(DownloadStep::check, [&] { return Check(first, last, name, memoryType); });
  }

  const std::vector<SegmentToLoad>& Segments() const { return segments_; }
  uint64_t TotalBytes() const;               // of all segments in the file
  uint64_t Bytes() const { return bytes_; }  // gone through: written, or compared where nothing is written
  uint64_t VerifiedBytes() const { return verifiedBytes_; }
  uint64_t Blocks() const { return blocks_; }
  std::optional<uint32_t> StartAddress() const { return startAddress_; }

  // The first failure; its step is `none` when there was none.
  const DownloadFailure& Failure() const { return failure_; }

  // Where a byte that the loader found to differ is in the target, and what the target holds there. Takes the block
  // back from VerifiedBytes(). Nothing when the address is not in the block that was read last.
  struct Difference {
    uint32_t address = 0;
    uint8_t held = 0;
    std::optional<uint32_t> segment;
  };
  std::optional<Difference> FindDifference(uint32_t loaderAddress);

 private:
  template <typename Operation>
  int Guard(DownloadStep step, Operation operation) {
    try {
      return operation();
    } catch (const std::bad_alloc&) {
      return Fail(step, nullptr, {}, "out of memory");
    }
  }
  int Check(uint32_t first, uint32_t last, const char* name, int memoryType);
  int Write(Address address, const void* buffer, uint32_t count, int access);
  int Read(Address address, void* buffer, uint32_t count, int access);
  int Start(uint32_t address);
  bool NextBlock(uint32_t address, uint32_t count);
  void SkipSegmentsWithoutBytes();
  uint32_t PlacedAddress() const { return segments_[current_].placed + offset_; }
  int Fail(DownloadStep step, const SegmentToLoad* segment, AddressRange range, std::string reason);

  LoadTarget& target_;
  std::vector<SegmentToLoad> segments_;
  bool dryRun_;

  uint64_t fileEnd_ = 0;       // where the last byte of all segments ends in the file
  size_t checked_ = 0;         // segments that CheckMemory was asked about
  uint64_t checkedBytes_ = 0;  // of these in the file
  size_t current_ = 0;         // segment of the current block
  uint32_t offset_ = 0;
  uint32_t length_ = 0;  // of the current block; 0 before the first
  bool blockIsWritten_ = false;
  std::vector<uint8_t> lastRead_;

  uint64_t blocks_ = 0;
  uint64_t bytes_ = 0;
  uint64_t verifiedBytes_ = 0;
  std::optional<uint32_t> startAddress_;
  DownloadFailure failure_;
};

}  // namespace elfload
