// Program and section headers for `elfload info`. The component has no operation for them, so they come from libelf,
// where the program is built with it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "target/elf_segment.h"

namespace elfload {

struct ElfSection {
  std::string name;
  uint32_t type, flags, addr, offset, size;
};

struct ElfTables {
  std::string missing;  // why there are no tables; empty when there are
  std::vector<ElfSegment> segments;
  std::vector<ElfSection> sections;
};

ElfTables ReadElfTables(const std::string& path);

// "LOAD", ".debug_*" types as "PROGBITS"; "0x70000001" for types without a name here.
std::string SegmentTypeName(uint32_t type);
std::string SectionTypeName(uint32_t type);

}  // namespace elfload
