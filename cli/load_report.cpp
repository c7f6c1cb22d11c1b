#include "load_report.h"

#include <fmt/format.h>

#include "json_writer.h"
#include "session_json.h"
#include "target/region_map.h"
#include "utf8.h"

namespace elfload {

namespace {

std::string Duration(double seconds) {
  return seconds < 1 ? fmt::format("{:.1f} ms", seconds * 1000) : fmt::format("{:.2f} s", seconds);
}

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

void WriteOptional(JsonWriter& json, const std::optional<uint32_t>& value) {
  if (value) {
    json.Number(*value);
  } else {
    json.Null();
  }
}

void WriteSegments(JsonWriter& json, const LoadReport& report) {
  json.Key("segments"), json.BeginArray();
  for (const SegmentToLoad& segment : report.segments) {
    json.BeginObject();
    json.Key("index"), json.Number(segment.index);
    json.Key("address"), json.Number(segment.address);
    json.Key("placed"), json.Number(segment.placed);
    json.Key("filesz"), json.Number(segment.fileSize);
    json.Key("memsz"), json.Number(segment.memorySize);
    json.Key("writable"), json.Number(uint32_t{segment.writable});
    json.EndObject();
  }
  json.EndArray();
}

void WriteFailure(JsonWriter& json, const LoadReport& report) {
  json.Key("failure");
  if (report.outcome == LoadOutcome::done) {
    json.Null();
    return;
  }
  json.BeginObject();
  json.Key("message"), json.Text(std::string_view(report.message));
  json.Key("segment"), WriteOptional(json, report.segment);
  json.Key("first"), WriteOptional(json, report.range ? std::optional(report.range->first) : std::nullopt);
  json.Key("last"), WriteOptional(json, report.range ? std::optional(report.range->last) : std::nullopt);
  json.Key("address"), WriteOptional(json, report.address);
  json.EndObject();
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

void WriteLoadText(const LoadReport& report, const Options& options, Output& out) {
  if (report.outcome != LoadOutcome::done || options.load.quiet) {
    return;
  }
  const std::string file = Printable(options.file);
  const std::string target = Printable(options.load.target);
  if (options.load.dryRun) {
    out.Print("{}: {} segments with {} bytes fit {}\n", file, report.segments.size(), report.totalBytes, target);
    return;
  }
  out.Print("{}: {} bytes in {} blocks {} {}, {} bytes verified, start address 0x{:08X}, {}\n", file, report.bytes,
            report.blocks, options.load.Writes() ? "loaded into" : "compared with", target, report.verifiedBytes,
            report.startAddress.value_or(0), Duration(report.seconds));
}

void WriteLoadJson(const LoadReport& report, const Options& options, const Session& session, Output& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Key("file"), json.Text(std::string_view(options.file));
  json.Key("open"), json.Number(uint32_t{report.opened});
  json.Key("target"), json.Text(std::string_view(options.load.target));
  json.Key("processor"), json.Text(std::string_view(report.processor));
  json.Key("dryRun"), json.Number(uint32_t{options.load.dryRun});
  json.Key("outcome"), json.Text(LoadOutcomeName(report.outcome));
  WriteSegments(json, report);
  json.Key("blocks"), json.Number(report.blocks);
  json.Key("bytes"), json.Number(report.bytes);
  json.Key("totalBytes"), json.Number(report.totalBytes);
  json.Key("verifiedBytes"), json.Number(report.verifiedBytes);
  json.Key("startAddress"), WriteOptional(json, report.startAddress);
  json.Key("seconds"), json.Number(report.seconds);
  WriteFailure(json, report);
  WriteMessages(json, session);
  json.EndObject();
  json.NewLine();
}

}  // namespace elfload
