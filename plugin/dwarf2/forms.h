// Values of attributes by their form: addresses, constants, references, and values that are only passed over.
//
// All read at the cursor's position. A reader that is given a form of another class passes over the value and returns
// 0. The readers of constants and references note the failure then; the reader of addresses does not.
#pragma once

#include <cstdint>

#include "dwarf/form_shape.h"
#include "dwarf2/dwarf2_constants.h"
#include "dwarf2/rules.h"
#include "elf/cursor.h"

// What the values of a unit depend on.
struct UnitForms {
  uint8_t addressSize;  // bytes
  uint32_t unitBase;    // added to a unit-relative reference: the unit's offset in .debug_info, or 0

  // What units of later versions depend on beside. The bases are offsets of a unit's part of its section.
  uint16_t version = 2;
  uint8_t offsetSize = 4;  // bytes: 8 in the 64-bit format
  const Dwarf2Rules* rules = &loaderRules;
  uint32_t strOffsetsBase = 0;  // DW_AT_str_offsets_base
  uint32_t addrBase = 0;        // DW_AT_addr_base
  uint32_t loclistsBase = 0;    // DW_AT_loclists_base
  uint32_t rnglistsBase = 0;    // DW_AT_rnglists_base
  uint32_t lowPc = 0;           // of the unit: the base of its lists
};

// The row of a form; a form that DWARF 2 does not have is invalid.
FormRow RowOfForm(uint32_t form);

// The same for a unit that may be of a later version.
FormRow RowOfForm(uint32_t form, const UnitForms& unit);

// The size of a value in a unit, or -1 when it takes reading to know.
int32_t FixedFormSize(uint32_t form, const UnitForms& unit);

// What sizes and classes of values depend on, as one number.
inline uint32_t KeyOf(const UnitForms& unit) {
  return uint32_t{unit.version} << 16 | uint32_t{unit.offsetSize} << 8 | unit.addressSize;
}

// Passes over a value. An unassigned form notes the failure and consumes nothing.
void SkipForm(Cursor* cursor, uint32_t form, uint8_t addressSize);

// Passes over a text and its NUL. The end of the file in its place notes the failure.
void SkipText(Cursor* cursor);

// An address of `size` bytes, widened with zeros, or cut to 32 bits.
uint32_t ReadAddress(Cursor* cursor, uint32_t size);
uint32_t ReadAddressForm(Cursor* cursor, uint32_t form, uint8_t addressSize);

uint32_t ReadConstantForm(Cursor* cursor, uint32_t form, uint8_t addressSize);

// An offset in .debug_info.
uint32_t ReadReferenceForm(Cursor* cursor, uint32_t form, const UnitForms& unit);

// DW_FORM_flag as 0 or 1; any other form is passed over and returns 0.
uint32_t ReadFlagForm(Cursor* cursor, uint32_t form, uint8_t addressSize);

// The length that a block of that form begins with.
uint32_t ReadBlockLength(Cursor* cursor, uint32_t form);
