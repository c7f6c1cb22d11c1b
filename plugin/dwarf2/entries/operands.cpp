#include "dwarf2/entries/operands.h"

#include <algorithm>

#include "dwarf/leb128.h"

namespace {

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

}  // namespace

Operands OperandsOf(uint8_t code) {
  return operandTable.byCode[code];
}

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

namespace {

constexpr uint32_t DEEPEST_EXPRESSION = 8;  // expressions within expressions

bool HasLength(Operand operand) {
  return operand == Operand::block || operand == Operand::block1 || operand == Operand::expression;
}

const uint8_t* EndOfSound(const uint8_t* bytes, const uint8_t* end, uint32_t addressSize, uint32_t referenceSize,
                          uint32_t depth);

// After an operand, `end` where nobody reads on, or null for one whose length is too large.
const uint8_t* EndOfSoundOperand(Operand operand, const uint8_t* bytes, const uint8_t* end, uint32_t addressSize,
                                 uint32_t referenceSize, uint32_t depth) {
  const uint8_t* after = EndOfOperand(operand, bytes, end, addressSize, referenceSize);
  if (after == nullptr) {
    return HasLength(operand) ? nullptr : end;
  }
  if (operand != Operand::expression) {
    return after;
  }
  uint32_t length = 0;
  const uint8_t* inner = TakeUleb(bytes, end, &length);
  if (depth == DEEPEST_EXPRESSION || EndOfSound(inner, after, addressSize, referenceSize, depth + 1) != after) {
    return nullptr;
  }
  return after;
}

const uint8_t* EndOfSound(const uint8_t* bytes, const uint8_t* end, uint32_t addressSize, uint32_t referenceSize,
                          uint32_t depth) {
  while (bytes < end) {
    const uint8_t* const operation = bytes++;
    const Operands operands = OperandsOf(*operation);
    for (const Operand operand : {operands.first, operands.second}) {
      bytes = EndOfSoundOperand(operand, bytes, end, addressSize, referenceSize, depth);
      if (bytes == nullptr) {
        return operation;
      }
    }
  }
  return end;
}

}  // namespace

const uint8_t* EndOfSoundOperations(const uint8_t* bytes, const uint8_t* end, uint32_t addressSize,
                                    uint32_t referenceSize) {
  return EndOfSound(bytes, end, addressSize, referenceSize, 0);
}
