// elfload load: the file's code and data into a target.
#include <fmt/format.h>

#include <chrono>
#include <memory>

#include "commands/commands.h"
#include "json/load_json.h"
#include "session/load_dialog.h"
#include "target/gdb_target.h"
#include "target/load_code.h"
#include "target/memory_target.h"
#include "terminal/platform.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"
#include "text/load_text.h"

namespace elfload {

namespace {

using Clock = std::chrono::steady_clock;

void Fail(LoadReport& report, LoadOutcome outcome, std::string message) {
  report.outcome = outcome;
  report.message = std::move(message);
}

// Null, with the report filled in, when the stub cannot be reached.
std::unique_ptr<GdbTarget> ConnectStub(const LoadOptions& options, const LoaderState& state, LoadReport& report) {
  GdbTarget::Settings settings;
  settings.timeout = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(options.timeout));
  settings.machine = state.machine;
  settings.littleEndian = state.littleEndian;
  settings.writes = options.Writes();
  settings.regions = options.regionMap;

  std::string error;
  auto transport = ConnectGdb(*options.stub, GdbClock::now() + settings.timeout, error);
  if (transport == nullptr) {
    Fail(report, LoadOutcome::linkLost, fmt::format("cannot connect to {}: {}", options.target, error));
    return nullptr;
  }
  auto target = std::make_unique<GdbTarget>(std::move(transport), std::move(settings));
  if (!target->Connect()) {
    Fail(report, LoadOutcome::linkLost, fmt::format("link lost: {}", target->Reason()));
    return nullptr;
  }
  return target;
}

ProgressBar::Style ProgressStyle(const LoadOptions& options) {
  switch (options.progress) {
    case ProgressChoice::json:
      return ProgressBar::Style::json;
    case ProgressChoice::automatic:
      return IsTerminal(stderr) ? ProgressBar::Style::bar : ProgressBar::Style::none;
    default:
      return ProgressBar::Style::none;
  }
}

// The host's side of LoadCode. The target is the host's for as long as this runs.
void RunLoadCode(Session& session, const LoadOptions& options, LoadTarget& target, LoadReport& report) {
  const std::vector<ElfSegment> headers = ReadSegments(*session.Loader());
  const Placement placement = options.physical ? Placement::physicalAddress : Placement::virtualAddress;
  DownloadMonitor monitor(target, SegmentsToLoad(headers, placement), options.dryRun);
  HOST_SetTarget(&monitor);
  uint32_t entry = 0;
  LoadResult result;
  result.hasHeaders = !headers.empty();
  session.GetInfo(report.processor, entry);
  {
    LoadDialog dialog(ProgressStyle(options), monitor.TotalBytes());
    // A dry run makes the checks, and goes through the blocks without writing them to the target.
    const unsigned long flags = options.dryRun ? static_cast<unsigned long>(LOAD_NO_PROGRESS) : LoadFlags(options);
    const Clock::time_point start = Clock::now();
    result.result = session.Loader()->LoadCode(&monitor, 0, flags);
    report.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    result.cancelled = dialog.Cancelled();
    result.difference = dialog.DifferenceAddress();
  }
  HOST_SetTarget(nullptr);
  result.linkLost = target.LinkLost();
  JudgeLoad(result, monitor, report);
}

void LoadIntoStub(Session& session, const LoadOptions& options, LoadReport& report) {
  const auto target = ConnectStub(options, session.State(), report);
  if (target == nullptr) {
    return;
  }
  RunLoadCode(session, options, *target, report);
  const bool done = report.outcome == LoadOutcome::done;
  const bool finished = target->LinkLost() || target->Finish(options.leaveRunning && done && !options.dryRun);
  if (done && !finished) {
    Fail(report, target->LinkLost() ? LoadOutcome::linkLost : LoadOutcome::writeRefused, target->Reason());
  }
}

void LoadIntoMemory(Session& session, const LoadOptions& options, LoadReport& report) {
  MemoryTarget memory(options.regionMap);
  RunLoadCode(session, options, memory, report);
  if (report.outcome != LoadOutcome::done || options.outputFile.empty() || options.dryRun) {
    return;
  }
  std::string error;
  if (!WriteMemoryFile(options.outputFile, *options.format, memory, {.fillGaps = options.fillGaps}, error)) {
    Fail(report, LoadOutcome::outputError, fmt::format("cannot write {}: {}", options.outputFile, error));
  }
}

}  // namespace

ExitStatus RunLoad(Session& session, const Options& options, Output& out) {
  LoadReport report;
  report.opened = session.Open() != 0;
  if (!report.opened) {
    const auto& failure = session.LastFailure();
    Fail(report, LoadOutcome::fileError, failure ? FailureText(*failure) : "the file cannot be opened");
  } else if (options.load.stub) {
    LoadIntoStub(session, options.load, report);
  } else {
    LoadIntoMemory(session, options.load, report);
  }
  if (report.opened && report.outcome != LoadOutcome::done) {
    Complain("{}", Printable(report.message));
  }
  if (options.json) {
    WriteLoadJson(report, options, session, out);
  } else {
    WriteLoadText(report, options, out);
  }
  return report.outcome == LoadOutcome::done ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace elfload
