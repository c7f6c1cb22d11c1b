// The outcome of a download, and the reason for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "target/download_monitor.h"

namespace elfload {

enum class LoadOutcome : uint8_t {
  done,
  fileError,      // the file cannot be opened, cannot be loaded, or ended while it was loaded
  refused,        // by the range check: nothing was written
  writeRefused,   // by the target
  verifyDiffers,  // the target does not hold what the file has
  linkLost,       // no connection, no answer, or one that makes no sense
  cancelled,      // by the user
  startRefused,   // all is loaded, the start address is not set
  outputError,    // all is loaded, --out is not written
};

// "done", "file-error", "refused" and so on.
const char* LoadOutcomeName(LoadOutcome outcome);

struct LoadReport {
  LoadOutcome outcome = LoadOutcome::done;
  std::string message;                // why, when it is not done
  std::optional<uint32_t> segment;    // index of the program header that it happened in
  std::optional<AddressRange> range;  // in the target: of the segment or block that failed
  std::optional<uint32_t> address;    // the first byte that differs
  bool opened = false;
  std::string processor;
  std::vector<SegmentToLoad> segments;
  uint64_t blocks = 0;
  uint64_t bytes = 0;
  uint64_t totalBytes = 0;
  uint64_t verifiedBytes = 0;
  std::optional<uint32_t> startAddress;
  double seconds = 0;  // of LoadCode
};

// What is known after LoadCode.
struct LoadResult {
  int result = 0;
  bool linkLost = false;
  bool cancelled = false;
  std::optional<uint32_t> difference;  // that the loader named
  bool hasHeaders = true;              // the file has a program header table
};

// Fills in the outcome and the counts.
void JudgeLoad(const LoadResult& result, DownloadMonitor& monitor, LoadReport& report);

}  // namespace elfload
