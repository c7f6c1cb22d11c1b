#include "dwarf2/line_program.h"

#include <algorithm>

#include "dwarf2/forms.h"
#include "dwarf2/line_rows.h"
#include "records/debug_records.h"

namespace {

constexpr uint32_t LAST_SPECIAL_OPCODE = 255;
constexpr uint32_t LONGEST_ADDRESS = 8;  // bytes

void ResetLineRegisters() {
  LineState& state = dwarf2State.line;
  state.registers = {
      .address = 0,
      .line = 1,
      .column = 0,
      .file = 1,
      .isStmt = state.defaultIsStmt != 0,
      .suppressRows = false,
  };
}

// Line program header, up to the tables of names:
//   total_length 4, version 2, prologue_length 4, minimum_instruction_length 1, default_is_stmt 1, line_base 1,
//   line_range 1, opcode_base 1, standard_opcode_lengths
// version and prologue_length are not looked at: the opcodes begin behind the tables.
bool ReadLineHeader(ElfImage* image) {
  LineState& state = dwarf2State.line;
  const uint32_t totalLength = ReadU32(image);
  state.end = dwarf2State.position + totalLength;
  ReadU16(image);
  ReadU32(image);
  state.minimumInstructionLength = ReadU8(image);
  state.defaultIsStmt = ReadU8(image);
  state.lineBase = static_cast<int8_t>(ReadU8(image));
  state.lineRange = ReadU8(image);
  dwarf2State.opcodeBase = ReadU8(image);
  if (state.lineRange == 0) {
    Fail("line_range is 0");
    return false;
  }
  // The reduced variant has one byte more than DWARF 2, stored from index 0 and not looked at again.
  const uint32_t first = IsReducedVariant() ? 0 : 1;
  for (uint32_t i = first; i < dwarf2State.opcodeBase; ++i) {
    state.standardOpcodeLengths[i] = ReadU8(image);
  }
  return true;
}

// Names are not joined with directories: the strings are consumed, up to the empty one.
void SkipIncludeDirectories(ElfImage* image) {
  uint32_t start = 0;
  do {
    start = dwarf2State.position;
    ReadStringForm(image, DW_FORM_string, nullptr, 0);
  } while (dwarf2State.position != start + 1 && dwarf2State.failed == 0);
}

// A name, and unless it is empty its directory, time and length, which are dropped. False for the empty name.
bool DefineLineFile(ElfImage* image) {
  char* text = ReadStringForm(image, DW_FORM_string, dwarf2State.line.heap, 1);
  if (text[0] == 0 || !AddLineFile(text)) {
    return false;
  }
  ReadUleb(image);
  ReadUleb(image);
  ReadUleb(image);
  return true;
}

// Works out the special opcodes once, so that running one needs no division.
void MakeSpecialOpcodes() {
  LineState& state = dwarf2State.line;
  for (uint32_t opcode = dwarf2State.opcodeBase; opcode <= LAST_SPECIAL_OPCODE; ++opcode) {
    const uint32_t adjusted = opcode - dwarf2State.opcodeBase;
    state.addressAdvances[opcode] = adjusted / state.lineRange * state.minimumInstructionLength;
    state.lineAdvances[opcode] = static_cast<uint32_t>(state.lineBase) + adjusted % state.lineRange;
  }
}

void RunSpecialOpcode(uint32_t opcode) {
  LineState& state = dwarf2State.line;
  state.registers.address += state.addressAdvances[opcode];
  state.registers.line += state.lineAdvances[opcode];
  AppendLineRow();
}

// Published: the address alone moves. Here the opcode acts as special opcode 255 in full, line and row included.
void RunConstAddPc() {
  if (dwarf2State.line.actsAsPublished) {
    dwarf2State.line.registers.address += dwarf2State.line.addressAdvances[LAST_SPECIAL_OPCODE];
  } else {
    RunSpecialOpcode(LAST_SPECIAL_OPCODE);
  }
}

// Published: the operand counts bytes. Here it counts instructions.
void RunFixedAdvancePc(ElfImage* image) {
  LineState& state = dwarf2State.line;
  const uint32_t operand = ReadU16(image);
  state.registers.address += state.actsAsPublished ? operand : operand * state.minimumInstructionLength;
}

void RunUnassignedOpcode(ElfImage* image, uint8_t opcode) {
  FlushCodeRange();
  for (uint32_t i = 0; i < dwarf2State.line.standardOpcodeLengths[opcode]; ++i) {
    ReadUleb(image);
  }
}

void RunStandardOpcode(ElfImage* image, uint8_t opcode) {
  LineState& state = dwarf2State.line;
  LineRegisters& registers = state.registers;
  switch (opcode) {
    case DW_LNS_copy:
      AppendLineRow();
      return;  // no further row in the reduced variant
    case DW_LNS_advance_pc:
      registers.address += ReadUleb(image) * state.minimumInstructionLength;
      break;
    case DW_LNS_advance_line:
      registers.line += static_cast<uint32_t>(ReadSleb(image));
      break;
    case DW_LNS_set_file:
      registers.file = static_cast<int32_t>(ReadUleb(image));
      break;
    case DW_LNS_set_column:
      registers.column = ReadUleb(image);
      break;
    case DW_LNS_negate_stmt:
      registers.isStmt = !registers.isStmt;
      break;
    case DW_LNS_set_basic_block:
      break;
    case DW_LNS_const_add_pc:
      RunConstAddPc();
      break;
    case DW_LNS_fixed_advance_pc:
      RunFixedAdvancePc(image);
      break;
    default:
      RunUnassignedOpcode(image, opcode);
      return;
  }
  if (IsReducedVariant()) {
    AppendLineRow();
  }
}

// A sequence that starts at address 0 is code that a linker threw away, and leaves nothing behind. The address has the
// unit's size; published: what the length of the opcode leaves.
void SetLineAddress(ElfImage* image, uint32_t length) {
  LineState& state = dwarf2State.line;
  FlushCodeRange();
  const bool hasSize = state.actsAsPublished && length > 1 && length - 1 <= LONGEST_ADDRESS;
  state.registers.address = ReadAddress(image, hasSize ? length - 1 : dwarf2State.addressSize);
  state.registers.suppressRows = state.registers.address == 0 && !state.keepsAddressZero;
}

// The length of a known opcode is not compared with what it consumes, and counts only where the published rules do.
void RunExtendedOpcode(ElfImage* image) {
  const uint32_t length = ReadUleb(image);
  const uint8_t opcode = ReadU8(image);
  switch (opcode) {
    case DW_LNE_end_sequence:  // published with a row; here none, so the end address is recorded nowhere
      FlushCodeRange();
      ResetLineRegisters();
      break;
    case DW_LNE_set_address:
      SetLineAddress(image, length);
      break;
    case DW_LNE_define_file:
      DefineLineFile(image);
      break;
    default:
      FlushCodeRange();
      if (length > 1 && length - 1 > ELF_BytesLeft(image)) {
        Fail("line opcode of 0x%X bytes behind the end of the file", static_cast<unsigned>(length));
      } else if (length > 1) {
        ELF_Skip(image, static_cast<int32_t>(length - 1));
        dwarf2State.position += length - 1;
      }
      break;
  }
}

// Runs special opcodes for as long as the program has them in the stream's current block.
void RunSpecialOpcodes(ElfImage* image) {
  ElfStream* file = image->file;
  const uint32_t left = dwarf2State.line.end - dwarf2State.position;
  const uint32_t count = std::min(file->BytesInBlock(), left);
  const uint8_t* opcodes = file->Peek();
  uint32_t done = 0;
  while (done < count && opcodes[done] >= dwarf2State.opcodeBase && opcodes[done] != 0 && dwarf2State.failed == 0) {
    RunSpecialOpcode(opcodes[done]);
    ++done;
  }
  file->Take(done);
  dwarf2State.position += done;
}

void RunLineOpcode(ElfImage* image) {
  if (image->file->AtEnd()) {
    Fail("line program without end");
    return;
  }
  const uint8_t opcode = ReadU8(image);
  if (opcode == 0) {
    RunExtendedOpcode(image);
  } else if (opcode >= dwarf2State.opcodeBase) {
    RunSpecialOpcode(opcode);
    RunSpecialOpcodes(image);
  } else {
    RunStandardOpcode(image, opcode);
  }
}

}  // namespace

void BeginLineProgram(const DescModule* module, L_list* codeRanges) {
  LineState& state = dwarf2State.line;
  state.heap = module->heap;
  state.codeRanges = codeRanges;
  state.pendingRange = nullptr;
  state.actsAsPublished = false;
  state.keepsAddressZero = false;
  state.fileCount = 0;
  state.firstBlock = state.currentBlock = nullptr;
  state.blockFile = 1;
  state.rowCount = 0;
  state.firstFile = state.lastFile = nullptr;
  dwarf2State.filesByName.Clear();
}

void RunLineProgram(ElfImage* image) {
  if (!ReadLineHeader(image)) {
    return;
  }
  MakeSpecialOpcodes();
  ResetLineRegisters();
  SkipIncludeDirectories(image);
  while (dwarf2State.failed == 0 && DefineLineFile(image)) {
  }
  while (dwarf2State.position < dwarf2State.line.end && dwarf2State.failed == 0) {
    RunLineOpcode(image);
  }
  FlushCodeRange();  // a program without DW_LNE_end_sequence leaves a range pending
  FinishLineBlock();
}
