#include "session/expression.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "records/debug_records.h"

namespace elfload {

namespace {

enum class Operand : uint8_t {
  none,
  address,
  u1,
  s1,
  u2,
  s2,
  u4,
  s4,
  u8,
  s8,
  uleb,
  sleb,
  entry,       // offset of an entry in .debug_info, 4 bytes
  unitEntry,   // the same in the unit, ULEB128
  value,       // bytes after their number as ULEB128
  shortValue,  // the same after 1 byte
  expression,  // an expression after the number of its bytes
  encoded,     // an address after 1 byte that says how it is written
};

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

// What is known by the published rules beside: DWARF 3 to 5, and the operations of GNU tools.
constexpr OperationRow publishedOperations[] = {
    {"DW_OP_implicit_value", 0x9E, 0x9E, {Operand::value}},
    {"DW_OP_implicit_pointer", 0xA0, 0xA0, {Operand::entry, Operand::sleb}},
    {"DW_OP_addrx", 0xA1, 0xA1, {Operand::uleb}},
    {"DW_OP_constx", 0xA2, 0xA2, {Operand::uleb}},
    {"DW_OP_entry_value", 0xA3, 0xA3, {Operand::expression}},
    {"DW_OP_const_type", 0xA4, 0xA4, {Operand::unitEntry, Operand::shortValue}},
    {"DW_OP_regval_type", 0xA5, 0xA5, {Operand::uleb, Operand::unitEntry}},
    {"DW_OP_deref_type", 0xA6, 0xA6, {Operand::u1, Operand::unitEntry}},
    {"DW_OP_xderef_type", 0xA7, 0xA7, {Operand::u1, Operand::unitEntry}},
    {"DW_OP_convert", 0xA8, 0xA8, {Operand::unitEntry}},
    {"DW_OP_reinterpret", 0xA9, 0xA9, {Operand::unitEntry}},
    {"DW_OP_GNU_push_tls_address", 0xE0, 0xE0},
    {"DW_OP_GNU_uninit", 0xF0, 0xF0},
    {"DW_OP_GNU_encoded_addr", 0xF1, 0xF1, {Operand::encoded}},
    {"DW_OP_GNU_implicit_pointer", 0xF2, 0xF2, {Operand::entry, Operand::sleb}},
    {"DW_OP_GNU_entry_value", 0xF3, 0xF3, {Operand::expression}},
    {"DW_OP_GNU_const_type", 0xF4, 0xF4, {Operand::unitEntry, Operand::shortValue}},
    {"DW_OP_GNU_regval_type", 0xF5, 0xF5, {Operand::uleb, Operand::unitEntry}},
    {"DW_OP_GNU_deref_type", 0xF6, 0xF6, {Operand::u1, Operand::unitEntry}},
    {"DW_OP_GNU_convert", 0xF7, 0xF7, {Operand::unitEntry}},
    {"DW_OP_GNU_reinterpret", 0xF9, 0xF9, {Operand::unitEntry}},
    {"DW_OP_GNU_parameter_ref", 0xFA, 0xFA, {Operand::entry}},
    {"DW_OP_GNU_addr_index", 0xFB, 0xFB, {Operand::uleb}},
    {"DW_OP_GNU_const_index", 0xFC, 0xFC, {Operand::uleb}},
    {"DW_OP_GNU_variable_value", 0xFD, 0xFD, {Operand::entry}},
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
constexpr auto publishedRowByCode = MakeRowByCode(publishedOperations);

const OperationRow* FindOperation(uint8_t code, const ExpressionFormat& format) {
  const uint8_t row = format.dwarf1 ? dwarf1RowByCode[code] : dwarf2RowByCode[code];
  if (row == 0) {
    const uint8_t published = format.published && !format.dwarf1 ? publishedRowByCode[code] : 0;
    return published != 0 ? &publishedOperations[published - 1] : nullptr;
  }
  const OperationRow* operation = format.dwarf1 ? &dwarf1Operations[row - 1] : &dwarf2Operations[row - 1];
  if (operation->operands[0] == Operand::address && format.addressSize > longestAddress) return nullptr;
  return operation;
}

size_t LebLength(const uint8_t* bytes) {
  size_t length = 1;
  while ((bytes[length - 1] & 0x80) != 0) length++;
  return length;
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

// How an address of DW_OP_GNU_encoded_addr is written: the low half of its first byte.
Operand EncodedAddress(uint8_t encoding) {
  constexpr uint8_t omitted = 0xFF;
  constexpr Operand operands[16] = {Operand::address, Operand::uleb, Operand::u2,   Operand::u4,
                                    Operand::u8,      Operand::none, Operand::none, Operand::none,
                                    Operand::address, Operand::sleb, Operand::s2,   Operand::s4,
                                    Operand::s8,      Operand::none, Operand::none, Operand::none};
  return encoding == omitted ? Operand::none : operands[encoding & 0xF];
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
    case Operand::entry:
      return 4;
    case Operand::u8:
    case Operand::s8:
      return 8;
    case Operand::uleb:
    case Operand::sleb:
    case Operand::unitEntry:
      return LebLength(bytes);
    case Operand::value:
    case Operand::expression:
      return LebLength(bytes) + static_cast<size_t>(std::min<uint64_t>(ReadLeb(bytes, false), SIZE_MAX / 2));
    case Operand::shortValue:
      return size_t{1} + bytes[0];
    case Operand::encoded:
      return 1 + OperandLength(EncodedAddress(bytes[0]), bytes + 1, format);
  }
  return 0;
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

// A value as a number, or byte by byte where it is too long for one.
std::string ValueText(const uint8_t* bytes, size_t size, const ExpressionFormat& format) {
  if (size == 0) return " {}";
  if (size <= 8) return fmt::format(" 0x{:0{}X}", ReadFixed(bytes, size, format.littleEndian), 2 * size);
  std::string text = " {";
  for (size_t i = 0; i < size; i++) text += fmt::format("{}{:02X}", i == 0 ? "" : " ", bytes[i]);
  return text + "}";
}

std::string BoundedText(const uint8_t* bytes, size_t length, const ExpressionFormat& format, unsigned depth);

// `depth` is how many expressions this one is in.
std::string OperandText(Operand operand, const uint8_t* bytes, const ExpressionFormat& format, unsigned depth) {
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
    case Operand::entry:
      return fmt::format(" <0x{:X}>", ReadFixed(bytes, length, format.littleEndian));
    case Operand::unitEntry:
      return fmt::format(" <0x{:X}>", ReadLeb(bytes, false));
    case Operand::value:
      return ValueText(bytes + LebLength(bytes), length - LebLength(bytes), format);
    case Operand::shortValue:
      return ValueText(bytes + 1, length - 1, format);
    case Operand::expression:
      return " (" + BoundedText(bytes + LebLength(bytes), length - LebLength(bytes), format, depth + 1) + ")";
    case Operand::encoded:
      return fmt::format(" 0x{:02X}{}", bytes[0], OperandText(EncodedAddress(bytes[0]), bytes + 1, format, depth));
  }
  return "";
}

// Whether the operands of the operation at `at`, whose row is `operation`, end within `length` bytes from there.
bool EndsWithin(size_t length, const uint8_t* at, const OperationRow& operation, const ExpressionFormat& format) {
  size_t used = 1;
  for (const Operand operand : operation.operands) {
    const size_t size = operand != Operand::none && used >= length ? length : OperandLength(operand, at + used, format);
    if (size > length - used) return false;
    used += size;
  }
  return true;
}

// The text of the operation at `at`, with its operands.
std::string OperationText(const uint8_t* at, const OperationRow& operation, const ExpressionFormat& format,
                          unsigned depth) {
  std::string text(operation.name);
  if (operation.last > operation.first) text += fmt::format("{}", *at - operation.first);
  const uint8_t* bytes = at + 1;
  for (const Operand operand : operation.operands) {
    text += OperandText(operand, bytes, format, depth);
    bytes += OperandLength(operand, bytes, format);
  }
  return text;
}

// One past the operation at `at`, whose row is `operation`.
const uint8_t* SkipOperation(const uint8_t* at, const OperationRow& operation, const ExpressionFormat& format) {
  at++;
  for (const Operand operand : operation.operands) at += OperandLength(operand, at, format);
  return at;
}

// The text of an expression whose length is known. Expressions within expressions beyond a depth that no compiler
// writes are left out.
std::string BoundedText(const uint8_t* bytes, size_t length, const ExpressionFormat& format, unsigned depth) {
  constexpr unsigned deepest = 4;
  if (depth > deepest) return "...";
  std::string text;
  for (size_t at = 0; at < length;) {
    if (at != 0) text += "; ";
    const OperationRow* operation = FindOperation(bytes[at], format);
    if (operation == nullptr || !EndsWithin(length - at, bytes + at, *operation, format)) {
      return text + fmt::format("(0x{:02X}...)", bytes[at]);
    }
    text += OperationText(bytes + at, *operation, format, depth);
    at = static_cast<size_t>(SkipOperation(bytes + at, *operation, format) - bytes);
  }
  return text;
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
    text += OperationText(at, *operation, format, 0);
    at = SkipOperation(at, *operation, format);
  }
  return text;
}

std::string ExpressionText(const uint8_t* expression, size_t length, const ExpressionFormat& format) {
  return length == 0 ? "(empty)" : BoundedText(expression, length, format, 0);
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
