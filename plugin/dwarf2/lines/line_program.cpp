#include "dwarf2/lines/line_program.h"

#include <algorithm>

#include "dwarf/leb128.h"
#include "dwarf2/dwarf2_constants.h"

namespace {

constexpr uint32_t LAST_SPECIAL_OPCODE = 255;
constexpr uint32_t LONGEST_ADDRESS = 8;  // bytes
constexpr uint32_t PROGRAM_WINDOW = 0x2000;

}  // namespace

void LineProgram::Run(uint32_t offset, const UnitForms& unit, L_list* ranges, uint8_t* opcodeBase) {
  const SectionPlace& section = sections_->line;
  isPublished_ = unit.rules->runsLinesAsPublished;
  dropsDeadCode_ = unit.rules->dropsDeadCode;
  files_.Begin(1, isPublished_);
  blocks_.Begin(ranges);
  if (!section.exists && !isPublished_) {
    return;
  }
  cursor_.SeekKept(section, offset, section.size > offset ? section.size - offset : 0, PROGRAM_WINDOW);
  if (*failure_) {
    return;
  }
  if (headers_.Read(unit, &header_)) {
    RunOpcodes();
    blocks_.FlushRange();  // a program without DW_LNE_end_sequence leaves a range pending
    blocks_.Finish();
  }
  if (!isPublished_) {
    *opcodeBase = header_.opcodeBase;
  }
  cursor_.Charge(cursor_.Offset() - offset);
}

void LineProgram::Clear() {
  files_.Begin(1, false);
  blocks_.Begin(nullptr);
}

// Works out the special opcodes once, so that running one needs no division. A machine with several operations in an
// instruction counts them.
void LineProgram::MakeSpecialOpcodes() {
  const uint32_t scale = header_.maximumOperations > 1 ? 1 : header_.minimumInstructionLength;
  for (uint32_t opcode = header_.opcodeBase; opcode <= LAST_SPECIAL_OPCODE; ++opcode) {
    const uint32_t adjusted = opcode - header_.opcodeBase;
    addressAdvances_[opcode] = adjusted / header_.lineRange * scale;
    lineAdvances_[opcode] = static_cast<uint32_t>(header_.lineBase) + adjusted % header_.lineRange;
  }
}

void LineProgram::ResetRegisters() {
  registers_ = {
      .address = 0,
      .line = 1,
      .column = 0,
      .file = 1,
      .operation = 0,
      .isStmt = header_.defaultIsStmt != 0,
      .isPlaced = false,
      .suppressRows = dropsDeadCode_ && deadCode_->IsMark(0, header_.addressSize),
  };
}

// Opcodes are run from the cursor's window for as long as a whole one is in it; an extended opcode, and one that the
// window cuts, at the cursor.
void LineProgram::RunOpcodes() {
  MakeSpecialOpcodes();
  ResetRegisters();
  const bool isReduced = !isPublished_ && IsReducedVariant(header_.opcodeBase);
  while (cursor_.Offset() < header_.end && !*failure_) {
    if (cursor_.AtEnd()) {
      cursor_.Fail("a line program without end");
      return;
    }
    cursor_.Ask();
    const uint64_t left = header_.end - cursor_.Offset();
    const auto inWindow = static_cast<uint64_t>(std::min(cursor_.End(), cursor_.Limit() + 1) - cursor_.Next());
    const uint8_t* stop = cursor_.Next() + std::min(left, inWindow);
    if (isReduced) {
      RunInWindow<REDUCED>(stop);
    } else if (header_.maximumOperations > 1) {
      RunInWindow<VLIW>(stop);
    } else {
      RunInWindow<STANDARD>(stop);
    }
  }
  if (isPublished_ && cursor_.Offset() > header_.end) {
    failure_->Note(sections_->line.name, header_.end, "an opcode goes past the end of the line program");
  }
}

// Runs the opcodes that begin before `stop`, the registers in local variables, up to the first that is not a matter of
// registers alone, which is run too.
template <LineProgram::Variant VARIANT>
void LineProgram::RunInWindow(const uint8_t* stop) {
  const uint8_t* next = cursor_.Next();
  Registers registers = registers_;
  const uint32_t opcodeBase = header_.opcodeBase;
  const uint32_t instructionLength = header_.minimumInstructionLength;
  const uint32_t maximumOperations = header_.maximumOperations;
  const bool isPublished = isPublished_;
  uint32_t opcode = 0;
  bool goesOn = true;    // with the next opcode
  bool isOther = false;  // whether `opcode` is still to be run
  const auto appendRow = [&] {
    if (!registers.suppressRows && (VARIANT != REDUCED || registers.isStmt)) {
      goesOn = blocks_.AddRow(registers.address, registers.line, registers.column, registers.file) && goesOn;
    }
  };
  // `advance` is of the table of special opcodes, or an operand in its unit.
  const auto moveAddress = [&](uint32_t advance) {
    if (VARIANT == VLIW) {
      const uint32_t operations = registers.operation + advance;
      registers.address += operations / maximumOperations * instructionLength;
      registers.operation = operations % maximumOperations;
    } else {
      registers.address += advance;
    }
  };
  while (next < stop && goesOn) {
    opcode = *next++;
    if (opcode >= opcodeBase && opcode != 0) {
      moveAddress(addressAdvances_[opcode]);
      registers.line += lineAdvances_[opcode];
      appendRow();
      continue;
    }
    switch (opcode) {
      case DW_LNS_copy:
        appendRow();
        continue;  // no further row in the reduced variant
      case DW_LNS_advance_pc:
        moveAddress(DecodeUleb(&next) * (VARIANT == VLIW ? 1 : instructionLength));
        break;
      case DW_LNS_advance_line:
        registers.line += static_cast<uint32_t>(DecodeSleb(&next));
        break;
      case DW_LNS_set_file:
        registers.file = static_cast<int32_t>(DecodeUleb(&next));
        break;
      case DW_LNS_set_column:
        registers.column = DecodeUleb(&next);
        break;
      case DW_LNS_negate_stmt:
        registers.isStmt = !registers.isStmt;
        break;
      case DW_LNS_set_basic_block:
        break;
      case DW_LNS_const_add_pc:
        // Published: the address alone moves. Here the opcode acts as special opcode 255 in full, line and row
        // included.
        moveAddress(addressAdvances_[LAST_SPECIAL_OPCODE]);
        if (!isPublished) {
          registers.line += lineAdvances_[LAST_SPECIAL_OPCODE];
          appendRow();
        }
        break;
      case DW_LNS_fixed_advance_pc: {
        // Published: the operand counts bytes. Here it counts instructions.
        const uint32_t operand = cursor_.Read16(next);
        next += 2;
        registers.address += isPublished ? operand : operand * instructionLength;
        registers.operation = 0;
        break;
      }
      default:
        isOther = true;
        goesOn = false;
        continue;
    }
    if (VARIANT == REDUCED) {
      appendRow();
    }
  }
  registers_ = registers;
  cursor_.SetNext(next);
  if (isOther && opcode == 0) {
    RunExtendedOpcode();
  } else if (isOther) {
    RunUnassignedOpcode(static_cast<uint8_t>(opcode));
  }
}

// By the loader's rules an opcode that it does not know ends the range of addresses. The numbers of operands are the
// header's, also of the opcodes 10 to 12 that DWARF 3 has: they change no row.
void LineProgram::RunUnassignedOpcode(uint8_t opcode) {
  if (!isPublished_) {
    blocks_.FlushRange();
  }
  for (uint32_t i = 0; i < header_.standardOpcodeLengths[opcode]; ++i) {
    ReadUleb(&cursor_);
  }
}

// A sequence of code that the linker threw away leaves nothing behind. By the loader's rules that is one at address 0,
// from there on; else one that begins at a mark of the linker.
void LineProgram::SetAddress(uint32_t size) {
  blocks_.FlushRange();
  registers_.address = ReadAddress(&cursor_, size);
  registers_.operation = 0;
  if (!dropsDeadCode_) {
    registers_.suppressRows = registers_.address == 0;
  } else if (!registers_.isPlaced) {
    registers_.suppressRows = deadCode_->IsMark(registers_.address, static_cast<uint8_t>(size));
  }
  registers_.isPlaced = true;
}

// By the loader's rules the length of a known opcode is not compared with what it consumes, and an address has the
// unit's size.
void LineProgram::RunExtendedOpcode() {
  if (isPublished_) {
    RunPublishedExtendedOpcode();
    return;
  }
  const uint32_t length = ReadUleb(&cursor_);
  const uint8_t opcode = cursor_.U8();
  if (opcode >= DW_LNE_end_sequence && opcode <= DW_LNE_define_file) {
    RunKnownExtendedOpcode(opcode, header_.addressSize);
    return;
  }
  blocks_.FlushRange();
  if (length > 1 && length - 1 > cursor_.BytesLeft()) {
    cursor_.Fail("a line opcode of 0x%X bytes goes past the end of the file", static_cast<unsigned>(length));
  } else if (length > 1) {
    cursor_.Skip(length - 1);
  }
}

// As published an opcode takes the bytes that its length says, and an address has as many as are left of them. One of
// no bytes does nothing.
void LineProgram::RunPublishedExtendedOpcode() {
  const uint32_t start = cursor_.Offset() - 1;
  const uint32_t length = ReadUleb(&cursor_);
  const uint32_t offset = cursor_.Offset();
  if (offset > header_.end || length > header_.end - offset) {
    failure_->Note(sections_->line.name, start, "a line opcode of 0x%X bytes goes past the end of the program",
                   static_cast<unsigned>(length));
    return;
  }
  if (length == 0) {
    return;
  }
  const uint8_t opcode = cursor_.U8();
  const uint32_t operands = length - 1;
  if (opcode == DW_LNE_set_address && (operands == 0 || operands > LONGEST_ADDRESS)) {
    failure_->Note(sections_->line.name, start, "an address of %u bytes", static_cast<unsigned>(operands));
    return;
  }
  RunKnownExtendedOpcode(opcode, operands);
  if (cursor_.Offset() > offset + length) {
    failure_->Note(sections_->line.name, start, "the operands of a line opcode are longer than its length says");
    return;
  }
  cursor_.Skip(offset + length - cursor_.Offset());
}

// The end of a sequence makes no row: what would be in it is the first address after the code.
void LineProgram::RunKnownExtendedOpcode(uint8_t opcode, uint32_t addressSize) {
  switch (opcode) {
    case DW_LNE_end_sequence:
      blocks_.FlushRange();
      ResetRegisters();
      break;
    case DW_LNE_set_address:
      SetAddress(addressSize);
      break;
    case DW_LNE_define_file:
      headers_.ReadFile();
      break;
    default:
      break;
  }
}
