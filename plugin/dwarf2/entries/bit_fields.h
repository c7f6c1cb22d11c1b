// Where a bit field is: the ways in which the versions of DWARF say it, brought to one.
#pragma once

#include <cstdint>

// As the file has it.
struct RawBitField {
  uint32_t bitSize;       // 1 to 255
  int32_t bits;           // DW_AT_data_bit_offset, or DW_AT_bit_offset
  bool countsFromStart;   // from the first bit of the structure in memory; else from an end of a storage unit
  bool countsFromLowEnd;  // from the end of low value; else from the high one
  uint32_t byteOffset;    // of the storage unit in the structure
  uint32_t storageSize;   // bytes
};

struct BitFieldPlace {
  uint32_t byteOffset;  // of the storage unit in the structure
  uint32_t byteSize;    // of the storage unit
  uint8_t bitOffset;    // from the low end of the storage unit to the field's lowest bit
};

// The storage unit has the size of the declared type, 0 for one that is not known. It lies at the last multiple of that
// size; where the field crosses it, at the field's first byte; where the field does not fit there, it is the bytes that
// the field touches. False for a field that begins in front of the structure.
bool PlaceBitField(const RawBitField& field, uint32_t declaredSize, bool littleEndian, BitFieldPlace* place);
