// What a GDB stub says about its target in XML: where the program counter is, and which memory there is.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "target/region_map.h"

namespace elfload {

// The register that holds the program counter, as packets `p`, `P` and `g` know it.
struct ProgramCounter {
  uint32_t number = 0;  // of the register
  uint32_t size = 0;    // bytes; 0 when it is not known
  uint32_t offset = 0;  // bytes from the start of a `g` answer
  bool hasOffset = false;
};

// Fetches the text of a named part of the description; false when the stub has none.
using FetchAnnex = std::function<bool(const std::string& annex, std::string& text)>;

// Looks through "target.xml" and what it includes for the register named "pc" (on x86 "eip" or "rip"). Registers count
// in order, and the attribute `regnum` sets the count. False when there is none.
bool FindProgramCounter(const FetchAnnex& fetch, ProgramCounter& counter);

// The number of the program counter in a stub without a description; false for a processor not in the table.
bool DefaultProgramCounter(uint32_t machine, ProgramCounter& counter);

// Parses a <memory-map>; what is past 32 bits is cut off. False with `error` set when it cannot be used.
bool ParseMemoryMap(std::string_view text, RegionMap& map, std::string& error);

}  // namespace elfload
