// Values of attributes as published: by form, and by the version of the unit.
//
//   FormValues values(&failure, &allowance);
//   values.Use(file, littleEndian, &sections);
//   const AttributeValue value = values.Read(&info, form, implicitConst, unit);
//   if (value.IsConstant()) size = value.number;
//
// The caller decides by the value's class what an attribute may be; a value of another class counts as absent.
#pragma once

#include <cstdint>

#include "dwarf2/forms.h"
#include "dwarf2/sections.h"
#include "elf/cursor.h"

enum class ValueClass : uint8_t {
  absent,          // a form that is not known (the failure is noted), or a value that cannot be had
  address,         // `number`
  block,           // `number` bytes at `place`
  expression,      // the same
  constant,        // `number` and `high`
  signedConstant,  // extended by its sign
  flag,            // 0 or 1
  reference,       // `number`: offset of an entry
  signature,       // `number` and `high`: of a type unit
  inlineText,      // at `place`, terminated
  text,            // `number`: offset in .debug_str
  lineText,        // `number`: offset in .debug_line_str
  offset,          // `number`: in a section that goes by the attribute
  listIndex,       // `number`: resolved by who reads the list
  supplementary,   // a text or an entry of another file
};

struct AttributeValue {
  ValueClass valueClass;
  uint8_t size;     // bytes of a constant's form; 0 where the form has no size
  uint32_t number;  // low 32 bits
  uint32_t high;    // bits 32 to 63
  uint32_t place;   // in the section that was read

  bool IsConstant() const { return valueClass == ValueClass::constant || valueClass == ValueClass::signedConstant; }
  bool IsBlock() const { return valueClass == ValueClass::block || valueClass == ValueClass::expression; }

  // Whether it is an offset in another section: before DWARF 4 constants of 4 and 8 bytes are that too, where the
  // attribute allows it.
  bool IsOffset(const UnitForms& unit) const {
    return valueClass == ValueClass::offset ||
           (unit.version < 4 && valueClass == ValueClass::constant && (size == 4 || size == 8));
  }
};

class FormValues {
 public:
  FormValues(Failure* failure, Allowance* allowance);

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections);

  // Reads the value at the cursor and leaves the cursor after it. `implicitConst` is the value of
  // DW_FORM_implicit_const. Texts and addresses by index are looked up. An unknown form notes the failure.
  AttributeValue Read(Cursor* cursor, uint32_t form, int32_t implicitConst, const UnitForms& unit);

  // Passes over a value.
  static void Skip(Cursor* cursor, uint32_t form, const UnitForms& unit);

  // An offset of the unit's size. One of more than 32 bits notes the failure and reads as 0xFFFFFFFF.
  static uint32_t ReadOffset(Cursor* cursor, uint32_t offsetSize);

  // The address of an index in .debug_addr. One outside notes the failure and reads as 0.
  uint32_t AddressAt(uint32_t index, const UnitForms& unit);

  // The offset in .debug_str of an index in .debug_str_offsets. False, with the failure noted, for one outside.
  bool TextOffsetAt(uint32_t index, const UnitForms& unit, uint32_t* offset);

 private:
  AttributeValue ReadIndex(Cursor* cursor, uint32_t form, const UnitForms& unit);
  AttributeValue ReadTextIndex(uint32_t index, const UnitForms& unit);
  bool SeekEntry(Cursor* cursor, const SectionPlace& section, uint32_t base, uint32_t index, uint32_t size);

  const Dwarf2Sections* sections_ = nullptr;
  Cursor addr_;
  Cursor strOffsets_;
};
