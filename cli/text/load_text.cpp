#include "text/load_text.h"

#include <fmt/format.h>

#include "terminal/utf8.h"

namespace elfload {

namespace {

std::string Duration(double seconds) {
  return seconds < 1 ? fmt::format("{:.1f} ms", seconds * 1000) : fmt::format("{:.2f} s", seconds);
}

}  // namespace

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

}  // namespace elfload
