#include "dwarf2/entries/bit_fields.h"

namespace {

constexpr uint32_t BITS_PER_BYTE = 8;
constexpr uint32_t MAX_UNIT = 32;  // bytes of a storage unit: bits of larger ones cannot be counted in 8 bits

// The field's first bit in memory, counted from the start of the structure: of a byte's bits the lowest is first with
// little-endian order, the highest with big-endian order.
int64_t FirstBit(const RawBitField& field, bool littleEndian) {
  if (field.countsFromStart) {
    return static_cast<uint32_t>(field.bits);
  }
  const int64_t unitStart = int64_t{field.byteOffset} * BITS_PER_BYTE;
  if (field.countsFromLowEnd == littleEndian) {
    return unitStart + field.bits;
  }
  return unitStart + int64_t{field.storageSize} * BITS_PER_BYTE - field.bits - field.bitSize;
}

}  // namespace

bool PlaceBitField(const RawBitField& field, uint32_t declaredSize, bool littleEndian, BitFieldPlace* place) {
  const int64_t signedFirst = FirstBit(field, littleEndian);
  if (signedFirst < 0) {
    return false;
  }
  const auto first = static_cast<uint64_t>(signedFirst);
  const uint64_t end = first + field.bitSize;
  uint64_t size = declaredSize <= MAX_UNIT ? declaredSize : 0;
  uint64_t start = size != 0 ? first / BITS_PER_BYTE / size * size : 0;
  if (end > (start + size) * BITS_PER_BYTE) {
    start = first / BITS_PER_BYTE;
    if (end > (start + size) * BITS_PER_BYTE) {
      size = (end + BITS_PER_BYTE - 1) / BITS_PER_BYTE - start;
    }
  }
  const uint64_t unitStart = start * BITS_PER_BYTE;
  const uint64_t fromLowEnd = littleEndian ? first - unitStart : unitStart + size * BITS_PER_BYTE - end;
  *place = {static_cast<uint32_t>(start), static_cast<uint32_t>(size), static_cast<uint8_t>(fromLowEnd)};
  return true;
}
