#include <cstddef>

#include "dwarf2/dwarf2_constants.h"
#include "limit.h"

namespace {

struct Program {
  const uint8_t* next;
  const uint8_t* end;
  bool isLittleEndian;
  uint8_t minimumInstructionLength;
  int8_t lineBase;
  uint8_t lineRange;
  uint8_t opcodeBase;
  const uint8_t* operandCounts;  // of opcode 1 on

  uint32_t address;
  uint32_t line;
  uint32_t file;
  uint32_t column;
};

int32_t TakeSleb(const uint8_t*& next) {
  uint32_t value = 0;
  uint32_t shift = 0;
  uint8_t byte = 0;
  do {
    byte = *next++;
    value |= static_cast<uint32_t>(byte & 0x7F) << (shift & 31);
    shift += 7;
  } while (byte >= 0x80 && shift < 80);
  if (shift < 32 && (byte & 0x40) != 0) {
    value |= ~0U << shift;
  }
  return static_cast<int32_t>(value);
}

void Reset(Program& program) {
  program.address = 0;
  program.line = 1;
  program.file = 1;
  program.column = 0;
}

void TakeRow(const Program& program, LineCounts& counts) {
  counts.rows++;
  counts.checksum += program.address ^ program.line;
}

// total_length 4, version 2, prologue_length 4, minimum_instruction_length 1, default_is_stmt 1, line_base 1,
// line_range 1, opcode_base 1, standard_opcode_lengths, directories, files
bool TakeHeader(Program& program) {
  const uint8_t*& next = program.next;
  TakeNumber(next, 2, program.isLittleEndian);
  const uint32_t prologueLength = TakeNumber(next, 4, program.isLittleEndian);
  if (program.next > program.end || prologueLength > static_cast<size_t>(program.end - next)) {
    return false;
  }
  const uint8_t* opcodes = next + prologueLength;
  program.minimumInstructionLength = *next;
  program.lineBase = static_cast<int8_t>(next[2]);
  program.lineRange = next[3];
  program.opcodeBase = next[4];
  program.operandCounts = next + 5;
  next = opcodes;
  return program.lineRange != 0;
}

void RunExtended(Program& program, LineCounts& counts) {
  const uint32_t length = TakeUleb(program.next);
  const uint8_t* operand = program.next;
  switch (*operand++) {
    case DW_LNE_end_sequence:
      TakeRow(program, counts);
      Reset(program);
      break;
    case DW_LNE_set_address:
      if (length >= 2 && length <= 5) {
        program.address = TakeNumber(operand, length - 1, program.isLittleEndian);
      }
      break;
    default:
      break;
  }
  program.next += length;
}

void RunStandard(Program& program, uint8_t opcode, LineCounts& counts) {
  switch (opcode) {
    case DW_LNS_copy:
      TakeRow(program, counts);
      break;
    case DW_LNS_advance_pc:
      program.address += TakeUleb(program.next) * program.minimumInstructionLength;
      break;
    case DW_LNS_advance_line:
      program.line += static_cast<uint32_t>(TakeSleb(program.next));
      break;
    case DW_LNS_set_file:
      program.file = TakeUleb(program.next);
      break;
    case DW_LNS_set_column:
      program.column = TakeUleb(program.next);
      break;
    case DW_LNS_negate_stmt:
    case DW_LNS_set_basic_block:
      break;
    case DW_LNS_const_add_pc:
      program.address +=
          (255U - program.opcodeBase) / program.lineRange * static_cast<uint32_t>(program.minimumInstructionLength);
      break;
    case DW_LNS_fixed_advance_pc:
      program.address += TakeNumber(program.next, 2, program.isLittleEndian);
      break;
    default:
      for (uint8_t i = 0; i < program.operandCounts[opcode - 1]; i++) {
        TakeUleb(program.next);
      }
      break;
  }
}

}  // namespace

bool RunLinePrograms(Bytes section, bool isLittleEndian, LineCounts& counts) {
  Program program{};
  program.isLittleEndian = isLittleEndian;
  program.next = section.begin;
  while (program.next < section.end) {
    const uint32_t length = TakeNumber(program.next, 4, isLittleEndian);
    if (program.next > section.end || length > static_cast<size_t>(section.end - program.next)) {
      return false;
    }
    program.end = program.next + length;
    if (!TakeHeader(program)) {
      return false;
    }
    counts.programs++;
    Reset(program);
    while (program.next < program.end) {
      const uint8_t opcode = *program.next++;
      if (opcode >= program.opcodeBase) {
        const uint32_t adjusted = static_cast<uint32_t>(opcode) - program.opcodeBase;
        program.address += adjusted / program.lineRange * program.minimumInstructionLength;
        program.line += static_cast<uint32_t>(program.lineBase) + adjusted % program.lineRange;
        TakeRow(program, counts);
      } else if (opcode == 0) {
        RunExtended(program, counts);
      } else {
        RunStandard(program, opcode, counts);
      }
    }
    program.next = program.end;
  }
  return true;
}
