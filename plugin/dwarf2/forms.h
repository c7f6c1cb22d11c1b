// Values of DWARF 2: LEB128 numbers, addresses, strings, blocks, constants, references, by form.
//
// All read at the stream's position, which the caller has seeked and which `position` of the state agrees with. A
// reader that is given a form of another class skips the value and gives 0, the shared empty string or null.
#pragma once

#include <cstdint>

#include "dwarf2/dwarf2_constants.h"
#include "dwarf2/reader_state.h"
#include "tarnixcore/heap.h"

// Fixed-size fields in the image's byte order.
inline uint8_t ReadU8(ElfImage* image) {
  uint8_t value = 0;
  ELF_ReadByte(image, &value);
  dwarf2State.position += 1;
  return value;
}
inline uint32_t ReadU16(ElfImage* image) {
  uint32_t value = 0;
  ELF_Read16(image, &value);
  dwarf2State.position += 2;
  return value;
}
inline uint32_t ReadU32(ElfImage* image) {
  uint32_t value = 0;
  ELF_Read32(image, &value);
  dwarf2State.position += 4;
  return value;
}

// Both numbers have at most twelve bytes. One that is longer reads as 0, with its first twelve bytes consumed and the
// latch left alone; bits past the 32nd wrap round. ReadUleb gives 0 and reads nothing while the latch is set; ReadSleb
// does not look at it.
uint32_t ReadLongUleb(ElfImage* image, uint8_t firstByte);
int32_t ReadSleb(ElfImage* image);
inline uint32_t ReadUleb(ElfImage* image) {
  if (dwarf2State.failed != 0) {
    return 0;
  }
  const uint8_t byte = ReadU8(image);
  return byte < 0x80 ? byte : ReadLongUleb(image, byte);
}

// An address of `size` bytes, widened with zeros, or cut to 32 bits.
uint32_t ReadAddress(ElfImage* image, uint32_t size);
uint32_t ReadAddressForm(ElfImage* image, uint32_t form, uint32_t size);

// The low 32 bits of an 8-byte value.
uint32_t ReadData8(ElfImage* image);

// A string, copied into `heap`; with `keep` 0 it is skipped and the shared empty string given. DW_FORM_strp is for
// attributes of entries: it comes back to .debug_info. A string that the file ends sets the latch.
char* ReadStringForm(ElfImage* image, uint32_t form, mem_desc* heap, int keep);
char* ReadInlineString(ElfImage* image, mem_desc* heap);

// The length that a block of that form begins with.
uint32_t ReadBlockLength(ElfImage* image, uint32_t form);

// A copy of a block with one byte 0 behind it; the length is not told. With `keep` 0 the block is skipped and
// the shared empty string given. Null for another form, for a block that the file cannot back, and without memory.
char* ReadBlockForm(ElfImage* image, uint32_t form, mem_desc* heap, int keep);

// Other forms than the constants, and than the references, set the latch.
uint32_t ReadConstantForm(ElfImage* image, uint32_t form);
uint32_t ReadReferenceForm(ElfImage* image, uint32_t form);  // an offset in .debug_info

// DW_FORM_flag as 0 or 1; any other form is skipped and gives 0.
uint32_t ReadFlagForm(ElfImage* image, uint32_t form);

// The size of a value in the unit being read, or -1 when it takes reading to tell.
int32_t FixedFormSize(uint32_t form);

// Moves over `count` bytes, which may end behind the file. A count that a signed distance would take backwards fails.
void SkipBytes(ElfImage* image, uint32_t count);

// Consumes a value. An unassigned form sets the latch and consumes nothing.
void SkipForm(ElfImage* image, uint32_t form);

// A copy of `text` in `heap`; without memory the latch is set and the shared empty string given.
char* DuplicateString(mem_desc* heap, const char* text);
