// elfload stats: how much a file holds and what it costs to read it. Every unit is filled and stays filled, as in a
// debugger that has looked at all of them, or with --release is released once it is counted.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "commands/commands.h"
#include "json/session_json.h"
#include "session/fill_team.h"
#include "session/record_counts.h"
#include "terminal/palette.h"
#include "terminal/platform.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

struct Phase {
  const char* name;
  ProcessTimes spent;
  uint64_t peakBytes;  // of the process until the phase ended
};

struct Stats {
  int opened = 0;
  int built = 0;
  uint32_t failedFills = 0;
  std::array<Phase, 3> phases = {{{"open", {}, 0}, {"build", {}, 0}, {"fill", {}, 0}}};
  RecordCounts counts;
  uint64_t tableHeapBytes = 0;
  uint64_t moduleHeapBytes = 0;
};

// Adds what the work takes to the phase. The peak is read once the phase is over.
template <typename Work>
void Measure(Phase& phase, Work work) {
  const ProcessTimes start = ReadProcessTimes();
  work();
  const ProcessTimes end = ReadProcessTimes();
  const auto toMicroseconds = [](double seconds) { return std::round(seconds * 1e6) / 1e6; };
  phase.spent = {toMicroseconds(phase.spent.cpuSeconds + end.cpuSeconds - start.cpuSeconds),
                 toMicroseconds(phase.spent.wallSeconds + end.wallSeconds - start.wallSeconds)};
}

// What the units of one thread hold.
struct Tally {
  RecordCounts counts;
  uint64_t heapBytes = 0;
  uint32_t failedFills = 0;

  void Count(const DescModule* module) {
    counts.Add(module);
    if (module->heap != nullptr) heapBytes += HEAP_BytesUsed(module->heap);
  }
};

void Add(Stats& stats, const Tally& tally) {
  stats.counts += tally.counts;
  stats.moduleHeapBytes += tally.heapBytes;
  stats.failedFills += tally.failedFills;
}

void FillAlone(Session& session, const Options& options, Stats& stats) {
  Tally tally;
  Phase& phase = stats.phases[2];
  const auto fill = [&](DescModule* module) { tally.failedFills += session.Extend(module) != 0 ? 0 : 1; };
  if (options.release) {
    for (DescModule* module : session.Modules()) {
      Measure(phase, [&] { fill(module); });
      tally.Count(module);
      Measure(phase, [&] { module->heap = HEAP_Release(module->heap); });
    }
    phase.peakBytes = ReadPeakMemory();
  } else {
    Measure(phase, [&] { std::for_each(session.Modules().begin(), session.Modules().end(), fill); });
    phase.peakBytes = ReadPeakMemory();  // before the counting
    for (const DescModule* module : session.Modules()) tally.Count(module);
  }
  Add(stats, tally);
}

// The same on several threads. What the others' loaders take to open the file, and with `release` the counting, is
// measured too.
void FillInTeam(Session& session, const Options& options, size_t jobs, Stats& stats) {
  FillTeam team(session, options, jobs);
  std::vector<size_t> units(session.Modules().size());
  std::iota(units.begin(), units.end(), size_t{0});
  std::vector<Tally> tallies(jobs);
  std::vector<const DescModule*> kept(units.size());
  const auto work = [&](size_t worker, const FilledUnit& unit, UnitOrder&) {
    tallies[worker].failedFills += unit.extended != 0 ? 0 : 1;
    if (options.release) {
      tallies[worker].Count(unit.module);
      unit.module->heap = HEAP_Release(unit.module->heap);
    } else {
      kept[unit.index] = unit.module;
    }
  };
  Measure(stats.phases[2], [&] { team.Run(units, nullptr, work); });
  stats.phases[2].peakBytes = ReadPeakMemory();
  for (const DescModule* module : kept) {
    if (module != nullptr) tallies[0].Count(module);
  }
  for (const Tally& tally : tallies) Add(stats, tally);
}

void FillAll(Session& session, const Options& options, Stats& stats) {
  const size_t jobs = std::min<size_t>(options.Jobs(), session.Modules().size());
  if (jobs > 1) {
    FillInTeam(session, options, jobs, stats);
  } else {
    FillAlone(session, options, stats);
  }
}

Stats Collect(Session& session, const Options& options) {
  Stats stats;
  Measure(stats.phases[0], [&] { stats.opened = session.Open(); });
  stats.phases[0].peakBytes = ReadPeakMemory();
  if (stats.opened == 0) return stats;
  Measure(stats.phases[1], [&] { stats.built = session.Build(); });
  stats.phases[1].peakBytes = ReadPeakMemory();
  FillAll(session, options, stats);
  if (session.TableHeap() != nullptr) stats.tableHeapBytes = HEAP_BytesUsed(session.TableHeap());
  return stats;
}

struct CountRow {
  const char* name;  // in the document
  const char* text;
  uint64_t RecordCounts::*count;
  bool isPublished = false;  // there are such records by the published rules only
};
constexpr CountRow countRows[] = {
    {"units", "units", &RecordCounts::units},
    {"procedures", "procedures", &RecordCounts::procedures},
    {"memberFunctions", "member functions", &RecordCounts::memberFunctions},
    {"variables", "variables", &RecordCounts::variables},
    {"locals", "locals", &RecordCounts::locals},
    {"parameters", "parameters", &RecordCounts::parameters},
    {"types", "types", &RecordCounts::types},
    {"members", "members", &RecordCounts::members},
    {"enumerators", "enumerators", &RecordCounts::enumerators},
    {"locations", "locations", &RecordCounts::locations},
    {"files", "source files", &RecordCounts::files},
    {"lineRows", "line rows", &RecordCounts::lineRows},
    {"frames", "frames", &RecordCounts::frames},
    {"globalNames", "indexed names", &RecordCounts::globalNames},
    {"addrRanges", "indexed ranges", &RecordCounts::addrRanges},
    {"inlinedCalls", "inlined calls", &RecordCounts::inlinedCalls, true},
};

void WriteText(const Stats& stats, const Options& options, Output& out) {
  const Palette paint(options.color, out);
  const auto line = [&out, &paint](const char* what, const std::string& value) {
    out.Print("{}  {}\n", paint(Paint::faint, fmt::format("{:<16}", what)), value);
  };
  line("file", Printable(options.file));
  for (const CountRow& row : countRows) {
    if (row.isPublished && !options.ArePublished()) continue;
    line(row.text, fmt::format("{:>12}", stats.counts.*row.count));
  }
  if (stats.failedFills != 0) line("failed fills", fmt::format("{:>12}", stats.failedFills));
  line("table heap", fmt::format("{:>12} bytes", stats.tableHeapBytes));
  line("module heaps", fmt::format("{:>12} bytes", stats.moduleHeapBytes));
  for (const Phase& phase : stats.phases) {
    line(phase.name, fmt::format("{:>12.6f} s CPU, {:.6f} s, peak memory {} bytes", phase.spent.cpuSeconds,
                                 phase.spent.wallSeconds, phase.peakBytes));
  }
}

void WriteDocument(const Session& session, const Stats& stats, const Options& options, Output& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Key("file"), json.Text(std::string_view(options.file));
  json.Key("open"), json.Number(int32_t{stats.opened});
  json.Key("build"), json.Number(int32_t{stats.built});
  WriteDocumentFailure(json, session);
  json.Key("failedFills"), json.Number(stats.failedFills);
  json.Key("counts"), json.BeginObject();
  for (const CountRow& row : countRows) {
    if (row.isPublished && !options.ArePublished()) continue;
    json.Key(std::string_view(row.name)), json.Number(stats.counts.*row.count);
  }
  json.EndObject();
  json.NewLine();
  json.Key("heapBytes"), json.BeginObject();
  json.Key("table"), json.Number(stats.tableHeapBytes);
  json.Key("modules"), json.Number(stats.moduleHeapBytes);
  json.EndObject();
  json.Key("peakBytes"), json.BeginObject();
  for (const Phase& phase : stats.phases) json.Key(std::string_view(phase.name)), json.Number(phase.peakBytes);
  json.EndObject();
  json.NewLine();
  json.Key("seconds"), json.BeginObject();
  for (const Phase& phase : stats.phases) {
    json.Key(std::string_view(phase.name)), json.BeginObject();
    json.Key("cpu"), json.Number(phase.spent.cpuSeconds);
    json.Key("wall"), json.Number(phase.spent.wallSeconds);
    json.EndObject();
  }
  json.EndObject();
  json.NewLine();
  WriteMessages(json, session);
  json.EndObject();
  json.NewLine();
}

}  // namespace

ExitStatus RunStats(Session& session, const Options& options, Output& out) {
  const Stats stats = Collect(session, options);
  if (options.json) {
    WriteDocument(session, stats, options, out);
  } else if (stats.built != 0) {
    WriteText(stats, options, out);
  }
  return stats.built != 0 && !session.IsPartial() && stats.failedFills == 0 ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace elfload
