// Line programs of .debug_line: one program of a unit becomes DescFile and DescLineBlock lists, and a list of
// DescLineRange records that say which addresses have rows.
//
//   LineProgram program(&failure, &allowance, &heap);
//   program.Use(file, littleEndian, &sections, &deadCode);
//   program.Run(offset, unit, ranges, &opcodeBase);   // files and blocks are in Files(), Blocks()
//
// By the loader's rules there are two variants: the standard one (`opcode_base` 10 or more), and a reduced one (9 or
// less) with fewer standard opcodes and a row after nearly every opcode. As published there is one, which a machine of
// several operations in an instruction varies. Rows stay in the order of the program. After a failure the rows made so
// far are kept.
#pragma once

#include <cstdint>

#include "dwarf2/dead_code.h"
#include "dwarf2/lines/line_blocks.h"
#include "dwarf2/lines/line_files.h"
#include "dwarf2/lines/line_header.h"
#include "elf/cursor.h"

class LineProgram {
 public:
  LineProgram(Failure* failure, Allowance* allowance, RecordHeap* heap)
      : failure_(failure),
        cursor_(failure, allowance),
        files_(failure, allowance, heap, &cursor_),
        blocks_(failure, heap, &files_),
        headers_(failure, allowance, &cursor_, &files_) {}

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode) {
    cursor_.Use(file, littleEndian);
    files_.Use(file, littleEndian, sections);
    headers_.Use(file, littleEndian, sections);
    sections_ = sections;
    deadCode_ = deadCode;
  }

  // Runs the program at `offset` by the unit's rules. By the loader's, `opcodeBase` receives the program's, as soon as
  // it has been read; it stays as it is where there is no section of line programs, which is no failure then.
  void Run(uint32_t offset, const UnitForms& unit, L_list* ranges, uint8_t* opcodeBase);

  // In place of a program where a unit has none.
  void Clear();

  DescFile* Files() const { return files_.Listed(); }
  DescLineBlock* Blocks() const { return blocks_.Blocks(); }
  char* FileOf(uint32_t number) { return files_.NameOf(number); }  // by the program's own numbers

 private:
  static constexpr uint32_t OPCODES = 256;

  enum Variant { STANDARD, REDUCED, VLIW };

  struct Registers {
    uint32_t address;
    uint32_t line;
    uint32_t column;
    int32_t file;
    uint32_t operation;  // of the instruction at the address
    bool isStmt;
    bool isPlaced;      // by DW_LNE_set_address
    bool suppressRows;  // in a sequence that the linker threw away
  };

  void MakeSpecialOpcodes();
  void ResetRegisters();
  void RunOpcodes();
  template <Variant VARIANT>
  void RunInWindow(const uint8_t* stop);
  void RunUnassignedOpcode(uint8_t opcode);
  void RunExtendedOpcode();
  void RunPublishedExtendedOpcode();
  void RunKnownExtendedOpcode(uint8_t opcode, uint32_t addressSize);
  void SetAddress(uint32_t size);

  Failure* failure_;
  Cursor cursor_;
  LineFiles files_;
  LineBlocks blocks_;
  LineHeaderReader headers_;
  const Dwarf2Sections* sections_ = nullptr;
  const DeadCode* deadCode_ = nullptr;

  bool isPublished_ = false;
  bool dropsDeadCode_ = false;
  LineHeader header_ = {};
  Registers registers_ = {};

  // By opcode, from opcode_base on: what a special opcode does.
  uint32_t addressAdvances_[OPCODES] = {};
  uint32_t lineAdvances_[OPCODES] = {};
};
