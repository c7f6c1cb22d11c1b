// The least that any reader of a file has to do, as a measure for ours.
#pragma once

#include <cstdint>

// A section in memory. At least LIMIT_PADDING bytes 0 come after `end`.
struct Bytes {
  const uint8_t* begin = nullptr;
  const uint8_t* end = nullptr;
};
constexpr uint32_t LIMIT_PADDING = 64;

inline uint32_t TakeUleb(const uint8_t*& next) {
  uint32_t byte = *next++;
  uint32_t value = byte & 0x7F;
  for (uint32_t shift = 7; byte >= 0x80 && shift < 80; shift += 7) {
    byte = *next++;
    value |= (byte & 0x7F) << (shift & 31);
  }
  return value;
}

inline uint32_t TakeNumber(const uint8_t*& next, uint32_t size, bool isLittleEndian) {
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; i++) {
    value = isLittleEndian ? value | static_cast<uint32_t>(next[i]) << 8 * i : value << 8 | next[i];
  }
  next += size;
  return value;
}

struct LineCounts {
  uint64_t programs = 0;
  uint64_t rows = 0;  // the closing rows of sequences too
  uint64_t checksum = 0;
};

// Runs every line program of the section, as published, and keeps nothing. False for a program that leads outside.
bool RunLinePrograms(Bytes section, bool isLittleEndian, LineCounts& counts);
