// LEB128 numbers, as all sections have them.
//
// Both have at most twelve bytes. One that is longer reads as 0, with its first twelve bytes consumed; bits past the
// 32nd wrap round. At a pointer that they are decoded from, twelve bytes must be readable.
#pragma once

#include <cstdint>

#include "elf/cursor.h"

constexpr uint32_t LEB_BITS = 7;
constexpr uint32_t LEB_MAX_SHIFT = 80;

inline uint32_t DecodeLongUleb(const uint8_t** bytes) {
  uint32_t value = 0;
  for (uint32_t shift = 0; shift <= LEB_MAX_SHIFT; shift += LEB_BITS) {
    const uint8_t byte = *(*bytes)++;
    value |= (byte & 0x7FU) << (shift % 32);
    if (byte < 0x80) {
      return value;
    }
  }
  return 0;
}

inline uint32_t DecodeUleb(const uint8_t** bytes) {
  const uint8_t first = **bytes;
  if (first < 0x80) {
    ++*bytes;
    return first;
  }
  return DecodeLongUleb(bytes);
}

inline int32_t DecodeSleb(const uint8_t** bytes) {
  uint32_t value = 0;
  uint32_t shift = 0;
  for (;;) {
    const uint8_t byte = *(*bytes)++;
    value |= (byte & 0x7FU) << (shift % 32);
    shift += LEB_BITS;
    if (shift > LEB_MAX_SHIFT) {
      return 0;  // whatever the twelfth byte's bit 7
    }
    if (byte >= 0x80) {
      continue;
    }
    if (shift < 31 && (byte & 0x40U) != 0) {
      value |= ~0U << shift;
    }
    return static_cast<int32_t>(value);
  }
}

// ReadUleb returns 0 and reads nothing once the failure is set; ReadSleb does not look at it.
inline uint32_t ReadUleb(Cursor* cursor) {
  if (cursor->failure()) {
    return 0;
  }
  cursor->Ask();
  const uint8_t* bytes = cursor->Next();
  const uint32_t value = DecodeUleb(&bytes);
  cursor->SetNext(bytes);
  return value;
}

inline int32_t ReadSleb(Cursor* cursor) {
  cursor->Ask();
  const uint8_t* bytes = cursor->Next();
  const int32_t value = DecodeSleb(&bytes);
  cursor->SetNext(bytes);
  return value;
}

// Writes a number in as few bytes as it needs, at most LEB_LONGEST_32. Returns how many.
constexpr uint32_t LEB_LONGEST_32 = 5;

inline uint32_t EncodeUleb(uint32_t value, uint8_t* bytes) {
  uint32_t size = 0;
  for (; value > 0x7F; value >>= LEB_BITS) {
    bytes[size++] = static_cast<uint8_t>(value | 0x80U);
  }
  bytes[size++] = static_cast<uint8_t>(value);
  return size;
}
