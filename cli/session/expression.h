// Location expressions: where they end, and their text.
//
// A record stores an expression's bytes and a byte 0, not the length. The end is the first byte 0 where an operation
// begins, or the first operation whose operands are not known. Readers pad their copies with zeros, so that the
// operands of an operation that is cut short may be read: a number of variable length ends there, and no other operand
// is longer than the padding. The one exception is an operand that holds bytes after their number, such as that of
// DW_OP_implicit_value: the loader hands over none that runs past its expression.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace elfload {

// What the operations and their operands depend on.
struct ExpressionFormat {
  bool dwarf1 = false;
  uint8_t addressSize = 4;  // bytes of the operand of DW_OP_addr; 4 in DWARF 1
  bool littleEndian = false;
  bool published = false;  // all operations of DWARF 5 and of GNU tools are known; no DWARF 1 file has them
};

// Bytes of all operations with known operands, from the start. 0 for a null expression.
size_t ExpressionLength(const uint8_t* expression, const ExpressionFormat& format);

// Operations with their operands: "DW_OP_breg1 16; DW_OP_deref". An operation that is not known ends the text as its
// code in parentheses; an empty expression is "(empty)".
std::string ExpressionText(const uint8_t* expression, const ExpressionFormat& format);

// The same for `length` bytes that no loader has looked at; EXPRESSION_PADDING bytes 0 follow them. An operand that
// runs past them makes its operation one that is not known.
std::string ExpressionText(const uint8_t* expression, size_t length, const ExpressionFormat& format);

// The value of an expression that is a constant offset and nothing else, such as a structure member has: one
// DW_OP_plus_uconst, or OP_CONST and OP_ADD. False for any other.
bool ConstantOffset(const uint8_t* expression, const ExpressionFormat& format, uint32_t& offset);

// The address of an expression that is one static address and nothing else.
bool StaticAddress(const uint8_t* expression, const ExpressionFormat& format, uint32_t& address);

}  // namespace elfload
