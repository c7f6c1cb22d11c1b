// The operands of the operations of DWARF 2 to 5 and of GNU tools, as they follow the operation's code.
#pragma once

#include <cstdint>

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

Operands OperandsOf(uint8_t code);

// After a number, whose value goes to `value`: that of more than 32 bits is the largest. Null for a number that is cut
// off.
const uint8_t* TakeUleb(const uint8_t* bytes, const uint8_t* end, uint32_t* value);

// After an operand, or null where it is cut off or not known. Sizes are in bytes: of an address, and of an offset in
// .debug_info.
const uint8_t* EndOfOperand(Operand operand, const uint8_t* bytes, const uint8_t* end, uint32_t addressSize,
                            uint32_t referenceSize);

// Where the operations from `bytes` on stop making sense, which is `end` if they do to their end: at one whose block of
// bytes, or whose expression, is longer than what is left. After a code that is not known nobody reads on.
const uint8_t* EndOfSoundOperations(const uint8_t* bytes, const uint8_t* end, uint32_t addressSize,
                                    uint32_t referenceSize);
