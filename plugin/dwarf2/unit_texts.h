// Texts of a unit's own entry, copied out of the file: what a scan needs for a moment.
#pragma once

#include "dwarf2/form_values.h"
#include "dwarf2/sections.h"
#include "elf/cursor.h"

class UnitTexts {
 public:
  static constexpr uint32_t LONGEST = 1024;  // bytes with the terminator; a longer text is cut

  // A text that stays as long as unit after unit names the same.
  struct Text {
    char text[LONGEST];
    ValueClass valueClass;  // of the value that `text` is of
    uint32_t offset;
  };

  UnitTexts(Failure* failure, Allowance* allowance)
      : inline_(failure, allowance), str_(failure, allowance), lineStr_(failure, allowance) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections);

  // Copies the text of a value that `cursor` has read. A value that is no text has an empty one. Returns whether the
  // text is another than before.
  bool Copy(const AttributeValue& value, const Cursor& cursor, Text* text);

 private:
  void CopyFrom(Cursor* cursor, uint32_t offset, Text* text);

  const Dwarf2Sections* sections_ = nullptr;
  Cursor inline_;
  Cursor str_;
  Cursor lineStr_;
};
