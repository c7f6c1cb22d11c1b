// Line programs of .debug_line: one program of a unit becomes DescFile and DescLineBlock lists, and a list of
// DescLineRange records that say which addresses have rows.
//
//   LineProgram program(&failure, &allowance, &heap);
//   program.Use(file, littleEndian);
//   program.Run(sections.line, offset, rules, ranges, &opcodeBase);   // files and blocks are in Files(), Blocks()
//
// Two variants: the standard one (`opcode_base` 10 or more), and a reduced one (9 or less) with fewer standard opcodes
// and a row after nearly every opcode. Rows stay in the order of the program. After a failure the rows made so far are
// kept.
#pragma once

#include <cstdint>

#include "dwarf2/lines/line_blocks.h"
#include "elf/cursor.h"

constexpr uint32_t FIRST_STANDARD_OPCODE_BASE = 10;

// Whether a program of that `opcode_base` is of the reduced variant. Its producer also counts references between
// entries from the start of the section.
inline bool IsReducedVariant(uint8_t opcodeBase) {
  return opcodeBase < FIRST_STANDARD_OPCODE_BASE;
}

struct LineRules {
  uint8_t addressSize;    // of the unit, in bytes
  bool actsAsPublished;   // the host's choice for the opcodes on which DWARF 2 and the loader's rules differ
  bool keepsAddressZero;  // as published, where the unit's own ranges have address 0
};

class LineProgram {
 public:
  LineProgram(Failure* failure, Allowance* allowance, RecordHeap* heap)
      : failure_(failure), cursor_(failure, allowance), blocks_(failure, allowance, heap, &cursor_) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian) {
    cursor_.Use(file, littleEndian);
    blocks_.Use(file, littleEndian);
  }

  // Runs the program at `offset`. `opcodeBase` receives the program's, as soon as it has been read.
  void Run(const SectionPlace& section, uint32_t offset, const LineRules& rules, L_list* ranges, uint8_t* opcodeBase);

  DescFile* Files() const { return blocks_.Files(); }
  DescLineBlock* Blocks() const { return blocks_.Blocks(); }
  char* FileOf(uint32_t number) { return blocks_.FileOf(number); }  // by the program's own numbers

 private:
  static constexpr uint32_t OPCODES = 256;

  struct Registers {
    uint32_t address;
    uint32_t line;
    uint32_t column;
    int32_t file;
    bool isStmt;
    bool suppressRows;  // in a sequence that the linker threw away
  };

  bool ReadHeader();
  void SkipIncludeDirectories();
  bool DefineFile();
  void MakeSpecialOpcodes();
  void ResetRegisters();
  void RunOpcodes();
  template <bool REDUCED>
  void RunInWindow(const uint8_t* stop);
  void RunUnassignedOpcode(uint8_t opcode);
  void RunExtendedOpcode();
  void SetAddress(uint32_t length);

  Failure* failure_;
  Cursor cursor_;
  LineBlocks blocks_;
  LineRules rules_ = {0, false, false};
  Registers registers_ = {};

  // Header.
  uint32_t end_ = 0;  // offset after the program
  uint8_t opcodeBase_ = 0;
  uint8_t minimumInstructionLength_ = 0;
  uint8_t defaultIsStmt_ = 0;
  int8_t lineBase_ = 0;
  uint8_t lineRange_ = 0;
  uint8_t standardOpcodeLengths_[OPCODES] = {};

  // By opcode, from opcode_base on: what a special opcode does.
  uint32_t addressAdvances_[OPCODES] = {};
  uint32_t lineAdvances_[OPCODES] = {};
};
