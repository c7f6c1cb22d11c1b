// Whether a location expression is a fixed address, and which.
#pragma once

#include <cstdint>

#include "elf/cursor.h"
#include "records/debug_records.h"

constexpr uint8_t OPERATION_ADDRESS = 3;  // DW_OP_addr, and OP_ADDR of DWARF 1; an address follows

// The address of an expression that begins with the operation, of `addressSize` bytes and cut to 32 bits; false for any
// other. A null location has none.
inline bool StaticAddressOf(const DescLocation* location, bool littleEndian, uint32_t addressSize, uint32_t* address) {
  if (location == nullptr || location->expression == nullptr || location->expression[0] != OPERATION_ADDRESS) {
    return false;
  }
  const uint8_t* bytes = location->expression + 1;
  if (addressSize == 4) {
    *address = littleEndian ? Cursor::Little32(bytes) : Cursor::Big32(bytes);
    return true;
  }
  uint32_t value = 0;
  for (uint32_t i = 0; i < addressSize && i < 8; ++i) {
    value = !littleEndian ? value << 8 | bytes[i] : i < 4 ? value | uint32_t{bytes[i]} << 8 * i : value;
  }
  *address = value;
  return true;
}
