// The sections that have a fuzz target of their own.
//
// Input: a byte of SectionOption; where the target has two sections, 2 bytes with the size of the first, low byte
// first; the contents.
#pragma once

#include <array>
#include <cstdint>

enum SectionOption : uint8_t { OPTION_LITTLE_ENDIAN = 1, OPTION_DWARF1 = 2 };

enum class Dwarf1File { no, yes, byOption };

struct SectionTarget {
  const char* name;
  std::array<const char*, 2> sections;  // the second may be null
  Dwarf1File dwarf1;
};

constexpr SectionTarget sectionTargets[] = {
    {"dwarf1_entries", {".debug", nullptr}, Dwarf1File::yes},
    {"dwarf1_lines", {".line", nullptr}, Dwarf1File::yes},
    {"entries", {".debug_info", ".debug_abbrev"}, Dwarf1File::no},
    {"frames", {".debug_frame", nullptr}, Dwarf1File::no},
    {"indexes", {".debug_pubnames", ".debug_aranges"}, Dwarf1File::byOption},
    {"lines", {".debug_line", nullptr}, Dwarf1File::no},
    {"locations", {".debug_loc", nullptr}, Dwarf1File::no},
};

constexpr uint32_t SECTION_INPUT_HEAD = 3;  // bytes in front of the contents of two sections
