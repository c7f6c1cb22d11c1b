#include "session/load_options.h"

#include <fmt/format.h>

#include "target/load_code.h"

namespace elfload {

namespace {

constexpr double LONGEST_TIMEOUT = 3600;  // seconds

std::string CheckTarget(LoadOptions& options) {
  constexpr std::string_view stubPrefix = "gdb:";
  if (options.target.starts_with(stubPrefix)) {
    std::string error;
    GdbEndpoint endpoint;
    if (!ParseGdbEndpoint(std::string_view(options.target).substr(stubPrefix.size()), endpoint, error)) {
      return fmt::format("--target {}: {}", options.target, error);
    }
    options.stub = endpoint;
    return "";
  }
  return options.target == "mem"
             ? ""
             : fmt::format("--target is mem, gdb:HOST:PORT or gdb:unix:PATH, not '{}'", options.target);
}

std::string CheckRegions(LoadOptions& options) {
  for (const std::string& text : options.regions) {
    MemoryRegion region;
    std::string error;
    if (!ParseRegion(text, region, error) || !options.regionMap.Add(region, error)) {
      return fmt::format("--region {}: {}", text, error);
    }
  }
  return "";
}

std::string CheckOutput(LoadOptions& options) {
  if (options.outputFile.empty()) {
    return options.format || options.fillGaps ? "--format and --fill-gaps need --out" : "";
  }
  if (options.stub) {
    return "--out writes the memory of --target mem";
  }
  if (!options.Writes()) {
    return "--verify only writes nothing, so there is nothing for --out";
  }
  if (!options.format) {
    options.format = MemoryFormatOf(options.outputFile);
  }
  return options.format
             ? ""
             : fmt::format("the format does not follow from the name '{}': give --format", options.outputFile);
}

}  // namespace

std::string CheckLoadOptions(LoadOptions& options) {
  if (!(options.timeout > 0 && options.timeout <= LONGEST_TIMEOUT)) {
    return "--timeout is a number of seconds above 0, at most 3600";
  }
  for (const auto check : {CheckTarget, CheckRegions, CheckOutput}) {
    if (std::string wrong = check(options); !wrong.empty()) {
      return wrong;
    }
  }
  return "";
}

unsigned long LoadFlags(const LoadOptions& options) {
  unsigned long flags = 0;
  if (options.quiet) {
    flags |= LOAD_NO_PROGRESS;
  }
  switch (options.Verify()) {
    case VerifyChoice::none:
      break;
    case VerifyChoice::full:
      flags |= LOAD_VERIFY_ALL;
      break;
    case VerifyChoice::quick:
      flags |= LOAD_VERIFY_QUICK;
      break;
    case VerifyChoice::only:
      flags |= LOAD_VERIFY_ONLY;
      break;
    case VerifyChoice::onlyQuick:
      flags |= LOAD_VERIFY_ONLY | LOAD_VERIFY_QUICK;
      break;
  }
  return flags;
}

}  // namespace elfload
