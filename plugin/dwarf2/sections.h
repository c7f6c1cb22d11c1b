// The sections that the DWARF 2 readers read, looked up once when a file is opened.
#pragma once

#include "elf/sections.h"

struct Dwarf2Sections {
  SectionPlace info;
  SectionPlace abbrev;
  SectionPlace line;
  SectionPlace loc;
  SectionPlace str;
  SectionPlace frame;
  SectionPlace pubnames;
  SectionPlace aranges;
};

inline Dwarf2Sections FindDwarf2Sections(const ElfImage* image) {
  return {
      .info = ELF_PlaceOf(image, ".debug_info"),
      .abbrev = ELF_PlaceOf(image, ".debug_abbrev"),
      .line = ELF_PlaceOf(image, ".debug_line"),
      .loc = ELF_PlaceOf(image, ".debug_loc"),
      .str = ELF_PlaceOf(image, ".debug_str"),
      .frame = ELF_PlaceOf(image, ".debug_frame"),
      .pubnames = ELF_PlaceOf(image, ".debug_pubnames"),
      .aranges = ELF_PlaceOf(image, ".debug_aranges"),
  };
}
