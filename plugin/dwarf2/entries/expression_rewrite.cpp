#include "dwarf2/entries/expression_rewrite.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "dwarf/leb128.h"

namespace {

enum class Operand : uint8_t {
  none,
  unknown,  // of a code that is not known
  bytes1,
  bytes2,
  bytes4,
  bytes8,
  leb,
  address,
  branch,      // 2 bytes: distance from the end of the operation
  reference,   // offset of an entry in .debug_info
  index,       // ULEB128: of an address in .debug_addr
  block,       // ULEB128 length, then that many bytes
  block1,      // 1-byte length, then that many bytes
  expression,  // ULEB128 length, then operations
  encoded,     // a byte that says how the value after it is written
};

struct Operands {
  Operand first, second;
};

struct OperationRow {
  uint8_t firstCode, lastCode;
  Operands operands;
};

// All operations of DWARF 2 to 5, and those of GNU tools.
// clang-format off
constexpr OperationRow operationRows[] = {
    {0x03, 0x03, {Operand::address, Operand::none}},     // DW_OP_addr
    {0x06, 0x06, {Operand::none, Operand::none}},        // deref
    {0x08, 0x09, {Operand::bytes1, Operand::none}},      // const1u, const1s
    {0x0A, 0x0B, {Operand::bytes2, Operand::none}},      // const2u, const2s
    {0x0C, 0x0D, {Operand::bytes4, Operand::none}},      // const4u, const4s
    {0x0E, 0x0F, {Operand::bytes8, Operand::none}},      // const8u, const8s
    {0x10, 0x11, {Operand::leb, Operand::none}},         // constu, consts
    {0x12, 0x14, {Operand::none, Operand::none}},        // dup, drop, over
    {0x15, 0x15, {Operand::bytes1, Operand::none}},      // pick
    {0x16, 0x22, {Operand::none, Operand::none}},        // swap to plus
    {0x23, 0x23, {Operand::leb, Operand::none}},         // plus_uconst
    {0x24, 0x27, {Operand::none, Operand::none}},        // shl to xor
    {0x28, 0x28, {Operand::branch, Operand::none}},      // bra
    {0x29, 0x2E, {Operand::none, Operand::none}},        // eq to ne
    {0x2F, 0x2F, {Operand::branch, Operand::none}},      // skip
    {0x30, 0x6F, {Operand::none, Operand::none}},        // lit0 to reg31
    {0x70, 0x8F, {Operand::leb, Operand::none}},         // breg0 to breg31
    {0x90, 0x91, {Operand::leb, Operand::none}},         // regx, fbreg
    {0x92, 0x92, {Operand::leb, Operand::leb}},          // bregx
    {0x93, 0x93, {Operand::leb, Operand::none}},         // piece
    {0x94, 0x95, {Operand::bytes1, Operand::none}},      // deref_size, xderef_size
    {0x96, 0x97, {Operand::none, Operand::none}},        // nop, push_object_address
    {0x98, 0x98, {Operand::bytes2, Operand::none}},      // call2
    {0x99, 0x99, {Operand::bytes4, Operand::none}},      // call4
    {0x9A, 0x9A, {Operand::reference, Operand::none}},   // call_ref
    {0x9B, 0x9C, {Operand::none, Operand::none}},        // form_tls_address, call_frame_cfa
    {0x9D, 0x9D, {Operand::leb, Operand::leb}},          // bit_piece
    {0x9E, 0x9E, {Operand::block, Operand::none}},       // implicit_value
    {0x9F, 0x9F, {Operand::none, Operand::none}},        // stack_value
    {0xA0, 0xA0, {Operand::reference, Operand::leb}},    // implicit_pointer
    {0xA1, 0xA2, {Operand::index, Operand::none}},       // addrx, constx
    {0xA3, 0xA3, {Operand::expression, Operand::none}},  // entry_value
    {0xA4, 0xA4, {Operand::leb, Operand::block1}},       // const_type
    {0xA5, 0xA5, {Operand::leb, Operand::leb}},          // regval_type
    {0xA6, 0xA7, {Operand::bytes1, Operand::leb}},       // deref_type, xderef_type
    {0xA8, 0xA9, {Operand::leb, Operand::none}},         // convert, reinterpret
    {0xE0, 0xE0, {Operand::none, Operand::none}},        // GNU_push_tls_address
    {0xF0, 0xF0, {Operand::none, Operand::none}},        // GNU_uninit
    {0xF1, 0xF1, {Operand::encoded, Operand::none}},     // GNU_encoded_addr
    {0xF2, 0xF2, {Operand::reference, Operand::leb}},    // GNU_implicit_pointer
    {0xF3, 0xF3, {Operand::expression, Operand::none}},  // GNU_entry_value
    {0xF4, 0xF4, {Operand::leb, Operand::block1}},       // GNU_const_type
    {0xF5, 0xF5, {Operand::leb, Operand::leb}},          // GNU_regval_type
    {0xF6, 0xF6, {Operand::bytes1, Operand::leb}},       // GNU_deref_type
    {0xF7, 0xF7, {Operand::leb, Operand::none}},         // GNU_convert
    {0xF9, 0xF9, {Operand::leb, Operand::none}},         // GNU_reinterpret
    {0xFA, 0xFA, {Operand::bytes4, Operand::none}},      // GNU_parameter_ref
    {0xFB, 0xFC, {Operand::index, Operand::none}},       // GNU_addr_index, GNU_const_index
    {0xFD, 0xFD, {Operand::reference, Operand::none}},   // GNU_variable_value
};
// clang-format on

struct OperandTable {
  Operands byCode[256] = {};
  constexpr OperandTable() {
    for (Operands& operands : byCode) {
      operands = {Operand::unknown, Operand::none};
    }
    for (const OperationRow& row : operationRows) {
      for (uint32_t code = row.firstCode; code <= row.lastCode; ++code) {
        byCode[code] = row.operands;
      }
    }
  }
};
constexpr OperandTable operandTable;

Operands OperandsOf(uint8_t code) {
  return operandTable.byCode[code];
}

constexpr uint32_t BRANCH_SIZE = 3;     // bytes of the whole operation
constexpr uint32_t LONG_REFERENCE = 8;  // bytes of an offset that is cut to 4

// After a number in the expression, whose value goes to `value`: that of more than 32 bits is the largest. Null for a
// number that is cut off.
const uint8_t* TakeUleb(const uint8_t* bytes, const uint8_t* end, uint32_t* value) {
  uint64_t sum = 0;
  for (uint32_t shift = 0; bytes != end; shift += LEB_BITS) {
    const uint8_t byte = *bytes++;
    const uint64_t bits = byte & 0x7FU;
    sum = bits == 0 || shift < 32 ? sum | (bits << shift % 64) : UINT64_MAX;
    if (byte < 0x80) {
      *value = static_cast<uint32_t>(std::min<uint64_t>(sum, UINT32_MAX));
      return bytes;
    }
  }
  return nullptr;
}

const uint8_t* Advance(const uint8_t* bytes, const uint8_t* end, uint64_t count) {
  return static_cast<uint64_t>(end - bytes) >= count ? bytes + count : nullptr;
}

// The low half of the byte in front of the value says its size.
const uint8_t* EndOfEncoded(const uint8_t* bytes, const uint8_t* end, uint32_t addressSize) {
  enum Encoding : uint8_t { absolute = 0, uleb = 1, two = 2, four = 3, eight = 4, sleb = 9 };
  constexpr uint8_t SIGNED_FROM = 8;
  if (bytes == end) {
    return nullptr;
  }
  const uint8_t encoding = *bytes++ & 0x0F;
  uint32_t ignored = 0;
  switch (encoding == sleb ? uleb : encoding & ~SIGNED_FROM) {
    case absolute:
      return Advance(bytes, end, addressSize);
    case uleb:
      return TakeUleb(bytes, end, &ignored);
    case two:
      return Advance(bytes, end, 2);
    case four:
      return Advance(bytes, end, 4);
    case eight:
      return Advance(bytes, end, 8);
    default:
      return nullptr;
  }
}

// After an operand, or null where it is cut off or not known.
const uint8_t* EndOfOperand(Operand operand, const uint8_t* bytes, const uint8_t* end, uint32_t addressSize,
                            uint32_t referenceSize) {
  uint32_t value = 0;
  switch (operand) {
    case Operand::none:
      return bytes;
    case Operand::bytes1:
      return Advance(bytes, end, 1);
    case Operand::bytes2:
    case Operand::branch:
      return Advance(bytes, end, 2);
    case Operand::bytes4:
      return Advance(bytes, end, 4);
    case Operand::bytes8:
      return Advance(bytes, end, 8);
    case Operand::leb:
    case Operand::index:
      return TakeUleb(bytes, end, &value);
    case Operand::address:
      return Advance(bytes, end, addressSize);
    case Operand::reference:
      return Advance(bytes, end, referenceSize);
    case Operand::block:
    case Operand::expression:
      bytes = TakeUleb(bytes, end, &value);
      return bytes != nullptr ? Advance(bytes, end, value) : nullptr;
    case Operand::block1:
      return bytes != end ? Advance(bytes + 1, end, *bytes) : nullptr;
    case Operand::encoded:
      return EndOfEncoded(bytes, end, addressSize);
    default:
      return nullptr;
  }
}

}  // namespace

void ExpressionRewrite::BeginUnit(const UnitForms& unit, FormValues* values) {
  unit_ = &unit;
  values_ = values;
  referenceSize_ = unit.version == 2 ? unit.addressSize : unit.offsetSize;
}

const uint8_t* ExpressionRewrite::EndOfOperation(const uint8_t* operation, const uint8_t* end) const {
  const Operands operands = OperandsOf(*operation);
  const uint8_t* next = EndOfOperand(operands.first, operation + 1, end, unit_->addressSize, referenceSize_);
  return next != nullptr ? EndOfOperand(operands.second, next, end, unit_->addressSize, referenceSize_) : nullptr;
}

// Walks into enclosed expressions as if their operations were of the outer one. Where it cannot go on it may be wrong
// about what follows, so that is looked at by Run.
bool ExpressionRewrite::IsNeeded(const uint8_t* bytes, uint32_t length) const {
  const uint8_t* end = bytes + length;
  while (bytes != nullptr && bytes != end) {
    const Operand first = OperandsOf(*bytes).first;
    if (first == Operand::index || (first == Operand::reference && referenceSize_ == LONG_REFERENCE)) {
      return true;
    }
    uint32_t ignored = 0;
    bytes = first == Operand::expression ? TakeUleb(bytes + 1, end, &ignored) : EndOfOperation(bytes, end);
  }
  return bytes == nullptr;
}

bool ExpressionRewrite::Run(Cursor* source, const uint8_t* bytes, uint32_t length) {
  source_ = source;
  output_.Empty();
  places_.Empty();
  return Append(bytes, bytes + length, 0);
}

bool ExpressionRewrite::Append(const uint8_t* bytes, const uint8_t* end, uint32_t nesting) {
  const uint32_t firstPlace = places_.Count();
  const uint32_t firstOutput = output_.Count();
  for (const uint8_t* next = bytes; next != end;) {
    const uint8_t* operationEnd = EndOfOperation(next, end);
    const bool isBranch = operationEnd != nullptr && OperandsOf(*next).first == Operand::branch;
    if (!AddPlace(static_cast<uint32_t>(next - bytes), firstOutput, isBranch)) {
      return false;
    }
    if (operationEnd == nullptr) {
      operationEnd = end;
      if (!Copy(next, end)) {
        return false;
      }
    } else if (!AppendOperation(next, operationEnd, nesting)) {
      return false;
    }
    next = operationEnd;
  }
  return AddPlace(static_cast<uint32_t>(end - bytes), firstOutput, false) &&
         MendBranches(bytes, firstPlace, firstOutput) && places_.Resize(firstPlace);
}

bool ExpressionRewrite::AppendOperation(const uint8_t* operation, const uint8_t* operationEnd, uint32_t nesting) {
  const Operand operand = OperandsOf(*operation).first;
  if (operand == Operand::expression) {
    return AppendEnclosing(operation, operationEnd, nesting);
  }
  if (operand == Operand::index) {
    uint32_t index = 0;
    TakeUleb(operation + 1, operationEnd, &index);
    const uint32_t address = values_->AddressAt(index, *unit_);
    const bool isAddress = *operation == DW_OP_addrx || *operation == DW_OP_GNU_addr_index;
    return AppendNumber(isAddress ? DW_OP_addr : DW_OP_const4u, 1) &&
           AppendNumber(address, isAddress ? unit_->addressSize : 4) && !source_->failure();
  }
  if (operand == Operand::reference && referenceSize_ == LONG_REFERENCE) {
    const uint8_t* low = operation + (source_->IsLittleEndian() ? 1 : 5);
    const uint8_t* high = operation + (source_->IsLittleEndian() ? 5 : 1);
    if (source_->Read32(high) != 0) {
      source_->Fail("an offset has more than 32 bits");
      return false;
    }
    return AppendNumber(*operation, 1) && Copy(low, low + 4) && Copy(operation + 1 + referenceSize_, operationEnd);
  }
  return Copy(operation, operationEnd);
}

// The length in front stays as it is written while it stays right.
bool ExpressionRewrite::AppendEnclosing(const uint8_t* operation, const uint8_t* operationEnd, uint32_t nesting) {
  if (nesting == MAX_NESTING) {
    source_->Fail("expressions are nested deeper than %u", static_cast<unsigned>(MAX_NESTING));
    return false;
  }
  uint32_t length = 0;
  const uint8_t* enclosed = TakeUleb(operation + 1, operationEnd, &length);
  if (!Copy(operation, operation + 1)) {
    return false;
  }
  const uint32_t start = output_.Count();
  if (!Append(enclosed, operationEnd, nesting + 1)) {
    return false;
  }
  const uint32_t newLength = output_.Count() - start;
  uint8_t number[LEB_LONGEST_32];
  const uint8_t* numberBytes = operation + 1;
  auto numberSize = static_cast<uint32_t>(enclosed - numberBytes);
  if (newLength != length) {
    numberSize = EncodeUleb(newLength, number);
    numberBytes = number;
  }
  if (!output_.Resize(output_.Count() + numberSize)) {
    return NoteNoMemory();
  }
  std::memmove(output_.begin() + start + numberSize, output_.begin() + start, newLength);
  std::memcpy(output_.begin() + start, numberBytes, numberSize);
  return true;
}

// A branch leads from its end to an operation, both of the same expression.
bool ExpressionRewrite::MendBranches(const uint8_t* bytes, uint32_t firstPlace, uint32_t firstOutput) {
  const Place* first = places_.begin() + firstPlace;
  const Place* last = places_.end() - 1;
  for (const Place* place = first; place != last; ++place) {
    if (!place->isBranch) {
      continue;
    }
    const auto distance = static_cast<int16_t>(source_->Read16(bytes + place->before + 1));
    const int64_t target = int64_t{place->before} + BRANCH_SIZE + distance;
    if (target < 0 || target > last->before) {
      continue;
    }
    const Place* after = std::upper_bound(first, last + 1, target,
                                          [](int64_t offset, const Place& other) { return offset < other.before; });
    const Place& found = *(after - 1);
    const int64_t mended = found.after + (target - found.before) - (int64_t{place->after} + BRANCH_SIZE);
    if (mended < INT16_MIN || mended > INT16_MAX) {
      source_->Fail("a branch of an expression leads too far");
      return false;
    }
    uint8_t* operand = output_.begin() + firstOutput + place->after + 1;
    const auto low = static_cast<uint8_t>(mended & 0xFF);
    const auto high = static_cast<uint8_t>(mended >> 8 & 0xFF);
    operand[0] = source_->IsLittleEndian() ? low : high;
    operand[1] = source_->IsLittleEndian() ? high : low;
  }
  return true;
}

bool ExpressionRewrite::AddPlace(uint32_t before, uint32_t firstOutput, bool isBranch) {
  return places_.Push({before, output_.Count() - firstOutput, isBranch}) || NoteNoMemory();
}

bool ExpressionRewrite::Copy(const uint8_t* bytes, const uint8_t* end) {
  for (; bytes != end; ++bytes) {
    if (!output_.Push(*bytes)) {
      return NoteNoMemory();
    }
  }
  return true;
}

// In the file's byte order.
bool ExpressionRewrite::AppendNumber(uint32_t number, uint32_t size) {
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t place = source_->IsLittleEndian() ? i : size - 1 - i;
    const uint32_t byte = place < 4 ? number >> 8 * place & 0xFF : 0;
    if (!output_.Push(static_cast<uint8_t>(byte))) {
      return NoteNoMemory();
    }
  }
  return true;
}

bool ExpressionRewrite::NoteNoMemory() {
  source_->failure().NoteNoMemory();
  return false;
}
