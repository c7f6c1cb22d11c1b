// The header of a line program, by the loader's rules or as published: what the opcodes depend on, and the tables of
// directories and files.
//
//   LineHeaderReader reader(&cursor, &files);
//   if (reader.Read(unit, &header)) ...   // the cursor is at the first opcode
#pragma once

#include <cstdint>

#include "dwarf2/form_values.h"
#include "dwarf2/forms.h"
#include "dwarf2/lines/line_files.h"
#include "elf/cursor.h"

constexpr uint32_t FIRST_STANDARD_OPCODE_BASE = 10;

// Whether a program of that `opcode_base` is of the reduced variant, by the loader's rules. Its producer also counts
// references between entries from the start of the section.
inline bool IsReducedVariant(uint8_t opcodeBase) {
  return opcodeBase < FIRST_STANDARD_OPCODE_BASE;
}

struct LineHeader {
  uint16_t version;    // as published; 2 by the loader's rules, whatever the header has
  uint8_t offsetSize;  // bytes: 8 in the 64-bit format
  uint8_t addressSize;
  uint32_t end;      // offset after the program
  uint32_t opcodes;  // as published: offset of the first opcode
  uint8_t minimumInstructionLength;
  uint8_t maximumOperations;  // of an instruction: more than 1 for a VLIW machine
  uint8_t defaultIsStmt;
  int8_t lineBase;
  uint8_t lineRange;
  uint8_t opcodeBase;
  uint8_t standardOpcodeLengths[256];
};

class LineHeaderReader {
 public:
  LineHeaderReader(Failure* failure, Allowance* allowance, Cursor* cursor, LineFiles* files)
      : failure_(failure), cursor_(cursor), files_(files), values_(failure, allowance) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections) {
    values_.Use(file, littleEndian, sections);
  }

  // Reads the header at the cursor and the tables into the files, and leaves the cursor at the first opcode. False when
  // there is no program to run: the failure is noted. `opcodeBase` is 0 where the header was not read that far.
  bool Read(const UnitForms& unit, LineHeader* header);

  // Adds a file: a name, its directory, time and length, as the tables before version 5 and DW_LNE_define_file have
  // them. False for the empty name, after which there is nothing.
  bool ReadFile();

 private:
  // An entry format of version 5.
  struct FormatPair {
    uint32_t content;
    uint32_t form;
  };

  void ReadLoaderStart(LineHeader* header);
  bool ReadPublishedStart(LineHeader* header);
  bool ReadMachine(bool isPublished, LineHeader* header);
  void ReadNames(uint32_t end);
  LineText ReadText();
  void ReadTable(const UnitForms& unit, uint32_t end, bool isOfFiles);
  void ReadEntry(const UnitForms& unit, bool isOfFiles);
  LineText TextOf(const AttributeValue& value) const;
  bool FailAt(uint32_t offset, const char* text);

  Failure* failure_;
  Cursor* cursor_;
  LineFiles* files_;
  FormValues values_;
  GrowingArray<FormatPair> format_;  // of the table in hand
};
