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

  // Of later versions, and of tools that go beyond them.
  SectionPlace types;
  SectionPlace lineStr;
  SectionPlace strOffsets;
  SectionPlace addr;
  SectionPlace loclists;
  SectionPlace ranges;
  SectionPlace rnglists;
  SectionPlace names;
  SectionPlace gnuPubnames;
  SectionPlace ehFrame;
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
      .types = ELF_PlaceOf(image, ".debug_types"),
      .lineStr = ELF_PlaceOf(image, ".debug_line_str"),
      .strOffsets = ELF_PlaceOf(image, ".debug_str_offsets"),
      .addr = ELF_PlaceOf(image, ".debug_addr"),
      .loclists = ELF_PlaceOf(image, ".debug_loclists"),
      .ranges = ELF_PlaceOf(image, ".debug_ranges"),
      .rnglists = ELF_PlaceOf(image, ".debug_rnglists"),
      .names = ELF_PlaceOf(image, ".debug_names"),
      .gnuPubnames = ELF_PlaceOf(image, ".debug_gnu_pubnames"),
      .ehFrame = ELF_PlaceOf(image, ".eh_frame"),
  };
}
