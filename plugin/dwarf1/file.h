// An opened file as the DWARF 1 reader takes it: its sections are looked up once.
#pragma once

#include "elf/sections.h"

namespace dwarf1 {

struct File {
  ElfImage* image;  // null: none is open
  SectionPlace debug;
  SectionPlace lines;
  SectionPlace names;
  SectionPlace ranges;
};

}  // namespace dwarf1
