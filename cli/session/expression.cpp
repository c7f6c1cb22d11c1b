#include "session/expression.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <string_view>

#include "records/debug_records.h"

namespace elfload {

namespace {

enum class Operand : uint8_t { none, address, u1, s1, u2, s2, u4, s4, u8, s8, uleb, sleb };

// A row covers codes that share operands; in a range the text is the name and the code's place in it.
struct OperationRow {
  std::string_view name;
  uint8_t first, last;
  Operand operands[2] = {Operand::none, Operand::none};
};

constexpr OperationRow dwarf1Operations[] = {
    {"OP_REG", 1, 1, {Operand::u4}},
    {"OP_BASEREG", 2, 2, {Operand::u4}},
    {"OP_ADDR", 3, 3, {Operand::address}},
    {"OP_CONST", 4, 4, {Operand::s4}},
    {"OP_DEREF2", 5, 5},
    {"OP_DEREF4", 6, 6},
    {"OP_ADD", 7, 7},
};

// What DWARF 2 publishes, 0x03 to 0x96, and the operations of later editions that compilers mix in.
constexpr OperationRow dwarf2Operations[] = {
    {"DW_OP_addr", 0x03, 0x03, {Operand::address}},
    {"DW_OP_deref", 0x06, 0x06},
    {"DW_OP_const1u", 0x08, 0x08, {Operand::u1}},
    {"DW_OP_const1s", 0x09, 0x09, {Operand::s1}},
    {"DW_OP_const2u", 0x0A, 0x0A, {Operand::u2}},
    {"DW_OP_const2s", 0x0B, 0x0B, {Operand::s2}},
    {"DW_OP_const4u", 0x0C, 0x0C, {Operand::u4}},
    {"DW_OP_const4s", 0x0D, 0x0D, {Operand::s4}},
    {"DW_OP_const8u", 0x0E, 0x0E, {Operand::u8}},
    {"DW_OP_const8s", 0x0F, 0x0F, {Operand::s8}},
    {"DW_OP_constu", 0x10, 0x10, {Operand::uleb}},
    {"DW_OP_consts", 0x11, 0x11, {Operand::sleb}},
    {"DW_OP_dup", 0x12, 0x12},
    {"DW_OP_drop", 0x13, 0x13},
    {"DW_OP_over", 0x14, 0x14},
    {"DW_OP_pick", 0x15, 0x15, {Operand::u1}},
    {"DW_OP_swap", 0x16, 0x16},
    {"DW_OP_rot", 0x17, 0x17},
    {"DW_OP_xderef", 0x18, 0x18},
    {"DW_OP_abs", 0x19, 0x19},
    {"DW_OP_and", 0x1A, 0x1A},
    {"DW_OP_div", 0x1B, 0x1B},
    {"DW_OP_minus", 0x1C, 0x1C},
    {"DW_OP_mod", 0x1D, 0x1D},
    {"DW_OP_mul", 0x1E, 0x1E},
    {"DW_OP_neg", 0x1F, 0x1F},
    {"DW_OP_not", 0x20, 0x20},
    {"DW_OP_or", 0x21, 0x21},
    {"DW_OP_plus", 0x22, 0x22},
    {"DW_OP_plus_uconst", 0x23, 0x23, {Operand::uleb}},
    {"DW_OP_shl", 0x24, 0x24},
    {"DW_OP_shr", 0x25, 0x25},
    {"DW_OP_shra", 0x26, 0x26},
    {"DW_OP_xor", 0x27, 0x27},
    {"DW_OP_bra", 0x28, 0x28, {Operand::s2}},
    {"DW_OP_eq", 0x29, 0x29},
    {"DW_OP_ge", 0x2A, 0x2A},
    {"DW_OP_gt", 0x2B, 0x2B},
    {"DW_OP_le", 0x2C, 0x2C},
    {"DW_OP_lt", 0x2D, 0x2D},
    {"DW_OP_ne", 0x2E, 0x2E},
    {"DW_OP_skip", 0x2F, 0x2F, {Operand::s2}},
    {"DW_OP_lit", 0x30, 0x4F},
    {"DW_OP_reg", 0x50, 0x6F},
    {"DW_OP_breg", 0x70, 0x8F, {Operand::sleb}},
    {"DW_OP_regx", 0x90, 0x90, {Operand::uleb}},
    {"DW_OP_fbreg", 0x91, 0x91, {Operand::sleb}},
    {"DW_OP_bregx", 0x92, 0x92, {Operand::uleb, Operand::sleb}},
    {"DW_OP_piece", 0x93, 0x93, {Operand::uleb}},
    {"DW_OP_deref_size", 0x94, 0x94, {Operand::u1}},
    {"DW_OP_xderef_size", 0x95, 0x95, {Operand::u1}},
    {"DW_OP_nop", 0x96, 0x96},
    // DWARF 3 and later
    {"DW_OP_push_object_address", 0x97, 0x97},
    {"DW_OP_call2", 0x98, 0x98, {Operand::u2}},
    {"DW_OP_call4", 0x99, 0x99, {Operand::u4}},
    {"DW_OP_call_ref", 0x9A, 0x9A, {Operand::u4}},
    {"DW_OP_form_tls_address", 0x9B, 0x9B},
    {"DW_OP_call_frame_cfa", 0x9C, 0x9C},
    {"DW_OP_bit_piece", 0x9D, 0x9D, {Operand::uleb, Operand::uleb}},
    {"DW_OP_stack_value", 0x9F, 0x9F},
};

// The zeros after a copy are enough for one operand of up to 8 bytes and the end after it. With longer addresses
// DW_OP_addr is not known, since it could be cut short.
constexpr uint8_t longestAddress = 8;
static_assert(longestAddress < EXPRESSION_PADDING);

// Row number by code, plus 1; 0 for codes that no row covers.
template <size_t size>
constexpr std::array<uint8_t, 256> MakeRowByCode(const OperationRow (&rows)[size]) {
  static_assert(size < 256);
  std::array<uint8_t, 256> byCode{};
  for (size_t row = 0; row < size; row++) {
    for (size_t code = rows[row].first; code <= rows[row].last; code++) byCode[code] = static_cast<uint8_t>(row + 1);
  }
  return byCode;
}
constexpr auto dwarf1RowByCode = MakeRowByCode(dwarf1Operations);
constexpr auto dwarf2RowByCode = MakeRowByCode(dwarf2Operations);

const OperationRow* FindOperation(uint8_t code, const ExpressionFormat& format) {
  const uint8_t row = format.dwarf1 ? dwarf1RowByCode[code] : dwarf2RowByCode[code];
  if (row == 0) return nullptr;
  const OperationRow* operation = format.dwarf1 ? &dwarf1Operations[row - 1] : &dwarf2Operations[row - 1];
  if (operation->operands[0] == Operand::address && format.addressSize > longestAddress) return nullptr;
  return operation;
}

size_t LebLength(const uint8_t* bytes) {
  size_t length = 1;
  while ((bytes[length - 1] & 0x80) != 0) length++;
  return length;
}

size_t OperandLength(Operand operand, const uint8_t* bytes, const ExpressionFormat& format) {
  switch (operand) {
    case Operand::none:
      return 0;
    case Operand::address:
      return format.addressSize;
    case Operand::u1:
    case Operand::s1:
      return 1;
    case Operand::u2:
    case Operand::s2:
      return 2;
    case Operand::u4:
    case Operand::s4:
      return 4;
    case Operand::u8:
    case Operand::s8:
      return 8;
    case Operand::uleb:
    case Operand::sleb:
      return LebLength(bytes);
  }
  return 0;
}

uint64_t ReadLeb(const uint8_t* bytes, bool isSigned) {
  uint64_t value = 0;
  unsigned shift = 0;
  uint8_t byte = 0;
  do {
    byte = *bytes++;
    if (shift < 64) value |= static_cast<uint64_t>(byte & 0x7F) << shift;
    shift += 7;
  } while ((byte & 0x80) != 0);
  if (isSigned && shift < 64 && (byte & 0x40) != 0) value |= ~uint64_t{0} << shift;
  return value;
}

// A number of `size` bytes in the file's byte order; of more than 8 bytes the low-order ones count.
uint64_t ReadFixed(const uint8_t* bytes, size_t size, bool littleEndian) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; i++) value = (value << 8) | bytes[littleEndian ? size - 1 - i : i];
  return value;
}

int64_t SignExtend(uint64_t value, size_t size) {
  const unsigned unused = 64 - 8 * static_cast<unsigned>(size);
  return static_cast<int64_t>(value << unused) >> unused;
}

std::string OperandText(Operand operand, const uint8_t* bytes, const ExpressionFormat& format) {
  const size_t length = OperandLength(operand, bytes, format);
  switch (operand) {
    case Operand::none:
      return "";
    case Operand::address:
      return fmt::format(" 0x{:0{}X}", ReadFixed(bytes, length, format.littleEndian), 2 * length);
    case Operand::u1:
    case Operand::u2:
    case Operand::u4:
    case Operand::u8:
      return fmt::format(" {}", ReadFixed(bytes, length, format.littleEndian));
    case Operand::s1:
    case Operand::s2:
    case Operand::s4:
    case Operand::s8:
      return fmt::format(" {}", SignExtend(ReadFixed(bytes, length, format.littleEndian), length));
    case Operand::uleb:
      return fmt::format(" {}", ReadLeb(bytes, false));
    case Operand::sleb:
      return fmt::format(" {}", static_cast<int64_t>(ReadLeb(bytes, true)));
  }
  return "";
}

// One past the operation at `at`, whose row is `operation`.
const uint8_t* SkipOperation(const uint8_t* at, const OperationRow& operation, const ExpressionFormat& format) {
  at++;
  for (const Operand operand : operation.operands) at += OperandLength(operand, at, format);
  return at;
}

}  // namespace

size_t ExpressionLength(const uint8_t* expression, const ExpressionFormat& format) {
  if (expression == nullptr) return 0;
  const uint8_t* at = expression;
  while (*at != 0) {
    const OperationRow* operation = FindOperation(*at, format);
    if (operation == nullptr) break;
    at = SkipOperation(at, *operation, format);
  }
  return static_cast<size_t>(at - expression);
}

std::string ExpressionText(const uint8_t* expression, const ExpressionFormat& format) {
  if (expression == nullptr || *expression == 0) return "(empty)";
  std::string text;
  for (const uint8_t* at = expression; *at != 0;) {
    if (!text.empty()) text += "; ";
    const OperationRow* operation = FindOperation(*at, format);
    if (operation == nullptr) {
      text += fmt::format("(0x{:02X}...)", *at);
      break;
    }
    text += operation->name;
    if (operation->last > operation->first) text += fmt::format("{}", *at - operation->first);
    const uint8_t* bytes = at + 1;
    for (const Operand operand : operation->operands) {
      text += OperandText(operand, bytes, format);
      bytes += OperandLength(operand, bytes, format);
    }
    at = bytes;
  }
  return text;
}

bool ConstantOffset(const uint8_t* expression, const ExpressionFormat& format, uint32_t& offset) {
  constexpr uint8_t constant = 4;
  constexpr uint8_t add = 7;
  constexpr uint8_t plusConstant = 0x23;
  if (expression == nullptr) return false;
  if (format.dwarf1) {
    if (expression[0] != constant || expression[5] != add || expression[6] != 0) return false;
    offset = static_cast<uint32_t>(ReadFixed(expression + 1, 4, format.littleEndian));
    return true;
  }
  if (expression[0] != plusConstant || expression[1 + LebLength(expression + 1)] != 0) return false;
  offset = static_cast<uint32_t>(ReadLeb(expression + 1, false));
  return true;
}

bool StaticAddress(const uint8_t* expression, const ExpressionFormat& format, uint32_t& address) {
  constexpr uint8_t addressOperation = 3;
  if (expression == nullptr || expression[0] != addressOperation || format.addressSize > longestAddress) return false;
  if (expression[1 + format.addressSize] != 0) return false;
  address = static_cast<uint32_t>(ReadFixed(expression + 1, format.addressSize, format.littleEndian));
  return true;
}

}  // namespace elfload
