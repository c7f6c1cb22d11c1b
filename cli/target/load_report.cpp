#include "target/load_report.h"

#include <fmt/format.h>

#include <utility>

#include "target/region_map.h"

namespace elfload {

namespace {

std::string InSegment(const std::optional<uint32_t>& segment) {
  return segment ? fmt::format("segment {}, ", *segment) : "";
}

void SetOutcome(LoadReport& report, LoadOutcome outcome, std::string message) {
  report.outcome = outcome;
  report.message = std::move(message);
}

// The target's own words for the operation that failed.
void JudgeFailure(const DownloadFailure& failure, LoadReport& report) {
  report.segment = failure.segment;
  report.range = failure.range;
  const std::string where = InSegment(failure.segment);
  switch (failure.step) {
    case DownloadStep::check:
      SetOutcome(report, LoadOutcome::refused,
                 fmt::format("refused by the range check: {}{}: {}", where,
                             DescribeRange(failure.range.first, failure.range.last), failure.reason));
      break;
    case DownloadStep::start:
      SetOutcome(report, LoadOutcome::startRefused,
                 fmt::format("the start address 0x{:08X} is not set: {}", failure.range.first, failure.reason));
      break;
    case DownloadStep::read:
      SetOutcome(report, LoadOutcome::verifyDiffers, fmt::format("verification differs: {}{}", where, failure.reason));
      report.address = failure.range.first;
      break;
    default:
      SetOutcome(report, LoadOutcome::writeRefused, fmt::format("write refused: {}{}", where, failure.reason));
  }
}

void JudgeDifference(uint32_t loaderAddress, DownloadMonitor& monitor, LoadReport& report) {
  const auto difference = monitor.FindDifference(loaderAddress);
  if (!difference) {  // the loader has read no such byte from the target: the file did not have it
    SetOutcome(report, LoadOutcome::fileError, "the file ended while it was loaded");
    return;
  }
  report.segment = difference->segment;
  report.address = difference->address;
  SetOutcome(report, LoadOutcome::verifyDiffers,
             fmt::format("verification differs: {}at 0x{:08X} the target holds 0x{:02X}",
                         InSegment(difference->segment), difference->address, difference->held));
}

}  // namespace

const char* LoadOutcomeName(LoadOutcome outcome) {
  constexpr const char* names[] = {"done",      "file-error", "refused",       "write-refused", "verify-differs",
                                   "link-lost", "cancelled",  "start-refused", "output-error"};
  return names[static_cast<size_t>(outcome)];
}

// A lost link explains all that follows it, and a refused write the difference that the loader finds when it reads the
// block back.
void JudgeLoad(const LoadResult& result, DownloadMonitor& monitor, LoadReport& report) {
  const DownloadFailure& failure = monitor.Failure();
  if (result.result != 0) {
    report.outcome = LoadOutcome::done;
  } else if (failure.step != DownloadStep::none) {
    JudgeFailure(failure, report);
    if (result.linkLost) {
      SetOutcome(report, LoadOutcome::linkLost, "link lost: " + InSegment(failure.segment) + failure.reason);
    }
  } else if (result.cancelled) {
    SetOutcome(report, LoadOutcome::cancelled,
               fmt::format("cancelled after {} of {} bytes", monitor.Bytes(), monitor.TotalBytes()));
  } else if (result.difference) {
    JudgeDifference(*result.difference, monitor, report);
  } else {
    SetOutcome(report, LoadOutcome::fileError,
               result.hasHeaders ? "the file ended while it was loaded" : "the file has no program header table");
  }
  report.segments = monitor.Segments();
  report.blocks = monitor.Blocks();
  report.bytes = monitor.Bytes();
  report.totalBytes = monitor.TotalBytes();
  report.verifiedBytes = monitor.VerifiedBytes();
  report.startAddress = monitor.StartAddress();
}

}  // namespace elfload
