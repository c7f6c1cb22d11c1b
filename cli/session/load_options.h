// What `elfload load` was asked for.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "target/gdb_transport.h"
#include "target/memory_output.h"
#include "target/region_map.h"

namespace elfload {

enum class VerifyChoice : uint8_t { none, full, quick, only, onlyQuick };
enum class ProgressChoice : uint8_t { automatic, json, none };

struct LoadOptions {
  // As the line has them.
  std::string target = "mem";
  std::optional<VerifyChoice> verify;
  std::vector<std::string> regions;
  std::string outputFile;
  std::optional<MemoryFormat> format;
  bool fillGaps = false;
  bool physical = false;  // segments go to p_paddr
  double timeout = 5;     // seconds, for every answer of a stub
  bool leaveRunning = false;
  ProgressChoice progress = ProgressChoice::automatic;
  bool quiet = false;
  bool dryRun = false;

  // What CheckLoadOptions made of it.
  std::optional<GdbEndpoint> stub;  // nothing for the memory target
  RegionMap regionMap;

  VerifyChoice Verify() const { return verify.value_or(stub ? VerifyChoice::full : VerifyChoice::none); }
  bool Writes() const { return Verify() != VerifyChoice::only && Verify() != VerifyChoice::onlyQuick; }
};

// Completes the options; says what is wrong with them, or nothing.
std::string CheckLoadOptions(LoadOptions& options);

// The flags of LoadCode.
unsigned long LoadFlags(const LoadOptions& options);

}  // namespace elfload
