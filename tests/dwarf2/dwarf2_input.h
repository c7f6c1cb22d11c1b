// A file as the readers of DWARF 2 to 5 take it, with a segment from 0x8000 to 0x8FFF.
#pragma once

#include <gtest/gtest.h>

#include "dwarf2/dead_code.h"
#include "dwarf2/form_values.h"
#include "support/dwarf2_builder.h"

struct Dwarf2Input {
  explicit Dwarf2Input(const ElfFile& file)
      : image(ElfFile(file).segment(PT_LOAD, 0x8000, Bytes().pad(0x1000)).open()) {
    allowance.Grant(0);
    EXPECT_TRUE(deadCode.Use(image));
    values.Use(image->file, littleEndian, &sections);
  }

  const OpenedImage image;
  const bool littleEndian = ELF_IsLittleEndian(image);
  const Dwarf2Sections sections = FindDwarf2Sections(image);
  Failure failure;
  Allowance allowance;
  DeadCode deadCode;
  FormValues values{&failure, &allowance};
};

// A unit by published rules, with its addresses from byte 8 of .debug_addr on.
inline UnitForms UnitOf(uint16_t version, uint32_t lowPc = 0, uint8_t addressSize = 4, uint8_t offsetSize = 4) {
  UnitForms unit = {addressSize, 0};
  unit.version = version;
  unit.offsetSize = offsetSize;
  unit.rules = &publishedRules;
  unit.addrBase = 8;
  unit.lowPc = lowPc;
  return unit;
}

// Values of attributes that lists have.
inline AttributeValue OffsetOf(uint32_t offset) { return {ValueClass::offset, 0, offset, 0, 0}; }
inline AttributeValue IndexOf(uint32_t index) { return {ValueClass::listIndex, 0, index, 0, 0}; }
