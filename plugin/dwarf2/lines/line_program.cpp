#include "dwarf2/lines/line_program.h"

#include <algorithm>

#include "dwarf/leb128.h"
#include "dwarf2/dwarf2_constants.h"
#include "dwarf2/forms.h"

namespace {

constexpr uint32_t LAST_SPECIAL_OPCODE = 255;
constexpr uint32_t LONGEST_ADDRESS = 8;  // bytes
constexpr uint32_t PROGRAM_WINDOW = 0x2000;

}  // namespace

void LineProgram::Run(const SectionPlace& section, uint32_t offset, const LineRules& rules, L_list* ranges,
                      uint8_t* opcodeBase) {
  rules_ = rules;
  blocks_.Begin(ranges);
  if (!section.exists) {
    return;
  }
  cursor_.SeekKept(section, offset, section.size > offset ? section.size - offset : 0, PROGRAM_WINDOW);
  opcodeBase_ = *opcodeBase;
  const bool isSound = ReadHeader();
  *opcodeBase = opcodeBase_;
  if (isSound) {
    MakeSpecialOpcodes();
    ResetRegisters();
    SkipIncludeDirectories();
    while (!*failure_ && DefineFile()) {
    }
    RunOpcodes();
    blocks_.FlushRange();  // a program without DW_LNE_end_sequence leaves a range pending
    blocks_.Finish();
  }
  cursor_.Charge(cursor_.Offset() - offset);
}

// Line program header, up to the tables of names:
//   total_length 4, version 2, prologue_length 4, minimum_instruction_length 1, default_is_stmt 1, line_base 1,
//   line_range 1, opcode_base 1, standard_opcode_lengths
// version and prologue_length are not looked at: the opcodes begin after the tables.
bool LineProgram::ReadHeader() {
  const uint32_t totalLength = cursor_.U32();
  end_ = cursor_.Offset() + totalLength;
  cursor_.Skip(2 + 4);
  minimumInstructionLength_ = cursor_.U8();
  defaultIsStmt_ = cursor_.U8();
  lineBase_ = static_cast<int8_t>(cursor_.U8());
  lineRange_ = cursor_.U8();
  opcodeBase_ = cursor_.U8();
  if (lineRange_ == 0) {
    cursor_.Fail("line_range is 0");
    return false;
  }
  // The reduced variant has one byte more than DWARF 2, stored from index 0 and not looked at again.
  for (uint32_t i = IsReducedVariant(opcodeBase_) ? 0 : 1; i < opcodeBase_; ++i) {
    standardOpcodeLengths_[i] = cursor_.U8();
  }
  return true;
}

// Names are not joined with directories: the texts are consumed, up to the empty one.
void LineProgram::SkipIncludeDirectories() {
  uint32_t start = 0;
  do {
    start = cursor_.Offset();
    SkipText(&cursor_);
  } while (cursor_.Offset() != start + 1 && !*failure_);
}

// A name, and unless it is empty its directory, time and length, which are dropped. False for the empty name.
bool LineProgram::DefineFile() {
  const uint32_t offset = cursor_.Offset();
  SkipText(&cursor_);
  const uint32_t length = cursor_.Offset() - offset - (*failure_ ? 0 : 1);
  if (length == 0) {
    return false;
  }
  blocks_.AddFile(offset, length);
  ReadUleb(&cursor_);
  ReadUleb(&cursor_);
  ReadUleb(&cursor_);
  return true;
}

// Works out the special opcodes once, so that running one needs no division.
void LineProgram::MakeSpecialOpcodes() {
  for (uint32_t opcode = opcodeBase_; opcode <= LAST_SPECIAL_OPCODE; ++opcode) {
    const uint32_t adjusted = opcode - opcodeBase_;
    addressAdvances_[opcode] = adjusted / lineRange_ * minimumInstructionLength_;
    lineAdvances_[opcode] = static_cast<uint32_t>(lineBase_) + adjusted % lineRange_;
  }
}

void LineProgram::ResetRegisters() {
  registers_ = {
      .address = 0,
      .line = 1,
      .column = 0,
      .file = 1,
      .isStmt = defaultIsStmt_ != 0,
      .suppressRows = false,
  };
}

// Opcodes are run from the cursor's window for as long as a whole one is in it; an extended opcode, and one that the
// window cuts, at the cursor.
void LineProgram::RunOpcodes() {
  while (cursor_.Offset() < end_ && !*failure_) {
    if (cursor_.AtEnd()) {
      cursor_.Fail("a line program without end");
      return;
    }
    cursor_.Ask();
    const uint64_t left = end_ - cursor_.Offset();
    const auto inWindow = static_cast<uint64_t>(std::min(cursor_.End(), cursor_.Limit() + 1) - cursor_.Next());
    const uint8_t* stop = cursor_.Next() + std::min(left, inWindow);
    if (IsReducedVariant(opcodeBase_)) {
      RunInWindow<true>(stop);
    } else {
      RunInWindow<false>(stop);
    }
  }
}

// Runs the opcodes that begin before `stop`, the registers in local variables, up to the first that is not a matter of
// registers alone, which is run too.
template <bool REDUCED>
void LineProgram::RunInWindow(const uint8_t* stop) {
  const uint8_t* next = cursor_.Next();
  Registers registers = registers_;
  const uint32_t opcodeBase = opcodeBase_;
  const uint32_t instructionLength = minimumInstructionLength_;
  const bool actsAsPublished = rules_.actsAsPublished;
  uint32_t opcode = 0;
  bool goesOn = true;    // with the next opcode
  bool isOther = false;  // whether `opcode` is still to be run
  const auto appendRow = [&] {
    if (!registers.suppressRows && (!REDUCED || registers.isStmt)) {
      goesOn = blocks_.AddRow(registers.address, registers.line, registers.column, registers.file) && goesOn;
    }
  };
  while (next < stop && goesOn) {
    opcode = *next++;
    if (opcode >= opcodeBase && opcode != 0) {
      registers.address += addressAdvances_[opcode];
      registers.line += lineAdvances_[opcode];
      appendRow();
      continue;
    }
    switch (opcode) {
      case DW_LNS_copy:
        appendRow();
        continue;  // no further row in the reduced variant
      case DW_LNS_advance_pc:
        registers.address += DecodeUleb(&next) * instructionLength;
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
        registers.address += addressAdvances_[LAST_SPECIAL_OPCODE];
        if (!actsAsPublished) {
          registers.line += lineAdvances_[LAST_SPECIAL_OPCODE];
          appendRow();
        }
        break;
      case DW_LNS_fixed_advance_pc: {
        // Published: the operand counts bytes. Here it counts instructions.
        const uint32_t operand = cursor_.Read16(next);
        next += 2;
        registers.address += actsAsPublished ? operand : operand * instructionLength;
        break;
      }
      default:
        isOther = true;
        goesOn = false;
        continue;
    }
    if (REDUCED) {
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

void LineProgram::RunUnassignedOpcode(uint8_t opcode) {
  blocks_.FlushRange();
  for (uint32_t i = 0; i < standardOpcodeLengths_[opcode]; ++i) {
    ReadUleb(&cursor_);
  }
}

// A sequence that starts at address 0 is code that a linker threw away, and leaves nothing behind. The address has the
// unit's size; published: what the length of the opcode leaves.
void LineProgram::SetAddress(uint32_t length) {
  blocks_.FlushRange();
  const bool hasSize = rules_.actsAsPublished && length > 1 && length - 1 <= LONGEST_ADDRESS;
  registers_.address = ReadAddress(&cursor_, hasSize ? length - 1 : rules_.addressSize);
  registers_.suppressRows = registers_.address == 0 && !rules_.keepsAddressZero;
}

// The length of a known opcode is not compared with what it consumes, and counts only where the published rules do.
void LineProgram::RunExtendedOpcode() {
  const uint32_t length = ReadUleb(&cursor_);
  const uint8_t opcode = cursor_.U8();
  switch (opcode) {
    case DW_LNE_end_sequence:  // published with a row; here none, so the end address is recorded nowhere
      blocks_.FlushRange();
      ResetRegisters();
      break;
    case DW_LNE_set_address:
      SetAddress(length);
      break;
    case DW_LNE_define_file:
      DefineFile();
      break;
    default:
      blocks_.FlushRange();
      if (length > 1 && length - 1 > cursor_.BytesLeft()) {
        cursor_.Fail("a line opcode of 0x%X bytes goes past the end of the file", static_cast<unsigned>(length));
      } else if (length > 1) {
        cursor_.Skip(length - 1);
      }
      break;
  }
}
