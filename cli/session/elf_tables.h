// Program and section headers as `elfload info` shows them. The component hands out no section headers, so they are
// read from the file once more. Bounded by the file: a table ends where the file does, and names that overlap are cut.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "target/elf_segment.h"

namespace elfload {

struct ElfSection {
  std::string_view name;  // in `names` of the tables
  bool nameIsCut;         // only the first bytes of it are in `name`
  uint32_t type, flags, addr, offset, size;
};

struct ElfTables {
  std::string missing;  // why there are no tables; empty when there are
  std::vector<ElfSegment> segments;
  std::vector<ElfSection> sections;  // from the second on: the first section header describes nothing
  std::vector<std::string> damage;   // what is wrong with the tables, in words; what is sound of them is there
  std::vector<char> names;           // the bytes of the section of names
};

// Reads the tables of the file at `path`, of either byte order.
ElfTables ReadElfTables(const std::string& path);

}  // namespace elfload
