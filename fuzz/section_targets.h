// The sections that have a fuzz target of their own.
//
// Input: a byte of SectionOption; where the target has two sections, 2 bytes with the size of the first, low byte
// first; the contents.
#pragma once

#include <array>
#include <cstdint>

enum SectionOption : uint8_t { OPTION_LITTLE_ENDIAN = 1, OPTION_DWARF1 = 2, OPTION_LATER = 4 };

// The file that the sections are in.
enum class FileOf { dwarf1, dwarf2OrLater, later, byOption };

struct SectionTarget {
  const char* name;
  std::array<const char*, 2> sections;  // the second may be null
  FileOf file;
};

constexpr SectionTarget sectionTargets[] = {
    {"dwarf1_entries", {".debug", nullptr}, FileOf::dwarf1},
    {"dwarf1_lines", {".line", nullptr}, FileOf::dwarf1},
    {"entries", {".debug_info", ".debug_abbrev"}, FileOf::dwarf2OrLater},
    {"frames", {".debug_frame", ".eh_frame"}, FileOf::dwarf2OrLater},
    {"indexes", {".debug_pubnames", ".debug_aranges"}, FileOf::byOption},
    {"lines", {".debug_line", nullptr}, FileOf::dwarf2OrLater},
    {"line_texts", {".debug_line", ".debug_line_str"}, FileOf::later},
    {"locations", {".debug_loc", nullptr}, FileOf::dwarf2OrLater},
    {"loclists", {".debug_loclists", ".debug_addr"}, FileOf::later},
    {"names", {".debug_names", ".debug_gnu_pubnames"}, FileOf::later},
    {"ranges", {".debug_ranges", ".debug_rnglists"}, FileOf::later},
    {"texts", {".debug_str_offsets", ".debug_str"}, FileOf::later},
    {"types", {".debug_types", ".debug_abbrev"}, FileOf::later},
};

constexpr uint32_t SECTION_INPUT_HEAD = 3;  // bytes in front of the contents of two sections
