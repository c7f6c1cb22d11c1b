// Code that the linker threw away. Linkers put 0, 1, -1 or -2 where its addresses were, so what begins there, or is
// counted from there, is no code, unless a segment has that address.
#pragma once

#include <cstdint>

#include "elf/elf_image.h"
#include "records/growing_array.h"

class DeadCode {
 public:
  // The file that is asked about from now on. Its segments are gone through once, here. False without memory.
  bool Use(const ElfImage* image);

  // Whether an address with which a range, procedure, sequence or list begins, or the base that it is counted from, is
  // a linker's mark. `addressSize` is that of the unit, in bytes.
  bool IsMark(uint32_t address, uint8_t addressSize) const {
    const uint32_t last = addressSize < 4 ? (1U << 8 * addressSize) - 1 : UINT32_MAX;
    return (address == 0 && !hasZero_) || (address == 1 && !hasOne_) ||
           (address >= last - 1 && address <= last && !HasLast(address, last));
  }

  // Whether a range of a list that is counted from `base` and begins at `begin`, both target addresses, is of such
  // code. Addresses as they are count from 0, which is a mark too: these are code where a segment has them.
  bool IsCountedFromMark(uint32_t base, uint32_t begin, uint8_t addressSize) const {
    return IsMark(begin, addressSize) || (IsMark(base, addressSize) && (base != 0 || !IsInSegment(begin)));
  }

 private:
  struct Span {
    uint32_t first, last;  // addresses
  };

  bool HasLast(uint32_t address, uint32_t last) const;
  bool IsInSegment(uint32_t address) const;

  bool hasZero_ = false;
  bool hasOne_ = false;
  bool hasTop32_[2] = {};        // -2 and -1 of 32 bits
  bool hasTop16_[2] = {};        // of 16 bits
  GrowingArray<Span> segments_;  // ascending, apart from each other
};
