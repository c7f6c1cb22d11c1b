// What all DWARF 1 readers share: where they read, the shared types, and the error latch.
//
// There is one state per process; it carries what a scan found into the fills that follow. `failed` stops nothing by
// itself: loops test what they must, and the entry operation reports once at its end. What was built until then stands.
#pragma once

#include <cstdint>

#include "dwarf1/dwarf1_constants.h"
#include "elf/section_access.h"
#include "records/hash_index.h"

struct DescType;

// Shared records of the last scan.
struct Dwarf1SharedTypes {
  DescType* basicTypes[FT_COUNT];  // by FT_ code
  DescType* undefinedType;         // of what has none
};

struct Dwarf1ReaderState : Dwarf1SharedTypes {
  ElfImage* image;                // being read; set by every entry operation
  const ElfSectionHeader* debug;  // its `.debug`; null when there is none
  uint32_t position;              // offset of the next byte in the section being read; type keys come from it
  uint32_t failed;                // the latch, 0 or 1; cleared at the start of a scan, of a fill and of the indexes

  HashIndex typesByKey;   // of the module being filled
  DescType* newestNoKey;  // newest record without a key on that module's `types`: what a look-up of NO_KEY finds
  uint32_t nesting;       // levels of entries that the walk stands in
  const char* failure;    // the first reason since the latch was cleared; null while it is not set
  uint32_t failurePosition;
};

extern Dwarf1ReaderState dwarf1State;

namespace dwarf1 {

constexpr uint32_t NO_OFFSET = 0xFFFFFFFF;
constexpr uint32_t MAX_NESTING = 1000;  // levels of nested entries that are read; the next one fails

// Begins an entry operation: the image and its `.debug`.
void UseImage(ElfImage* image);

void ClearFailure();

// Sets the latch and notes the reason if it is the first.
void Fail(const char* reason);

// Where what is read of the image is paid for. The walks ask whether anything is left, and fail when it is not.
inline WorkAllowance& Work() {
  return dwarf1State.image->file->Work();
}
inline bool IsWorkLeft() {
  if (Work().IsLeft()) {
    return true;
  }
  Fail("parts of the file are read over and over");
  return false;
}

// Fixed-size fields in the image's byte order.
inline uint32_t ReadU8() {
  uint8_t value = 0;
  if (ELF_ReadByte(dwarf1State.image, &value) == 0) {
    Fail("read");
  }
  dwarf1State.position += 1;
  return value;
}
inline uint32_t ReadU16() {
  uint32_t value = 0;
  if (ELF_Read16(dwarf1State.image, &value) == 0) {
    Fail("read");
  }
  dwarf1State.position += 2;
  return value;
}
inline uint32_t ReadU32() {
  uint32_t value = 0;
  if (ELF_Read32(dwarf1State.image, &value) == 0) {
    Fail("read");
  }
  dwarf1State.position += 4;
  return value;
}

// Copies bytes of the file. Sets the latch where the file ends before `count`; the rest is 0.
void ReadBytes(uint8_t* buffer, uint32_t count);

// Moves on by a count that is above 0 as a signed number; else does nothing.
void SkipBytes(uint32_t count);

inline bool IsEndOfFile() {
  return ELF_BytesLeft(dwarf1State.image) == 0;
}

// The stream's offset in `.debug`, and the way there for position and stream together.
inline uint32_t DebugPosition() {
  return static_cast<uint32_t>(dwarf1State.image->file->Position()) - dwarf1State.debug->sh_offset;
}
inline void SeekDebug(uint32_t offset) {
  dwarf1State.position = offset;
  ELF_SeekHeader(dwarf1State.image, offset, dwarf1State.debug);
}

}  // namespace dwarf1
