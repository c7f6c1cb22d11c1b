// Entries and attributes of `.debug`: the table of forms, the one attribute loop, and the skip of a value by its form.
//
// An entry:
//   +0  4  length in bytes, this field included, signed; below 8 the entry is a null entry and nothing else is read
//   +4  2  tag
//   +6     attributes, to the entry's end: a 2-byte code (name and form), then the value
#pragma once

#include <cstdint>
#include <iterator>

#include "dwarf1/reader_state.h"

namespace dwarf1 {

enum class FormShape : uint8_t { corrupt, unreadable, fixed, block, text };

struct FormRow {
  FormShape shape;
  uint8_t size;  // in bytes: of the value, or of a block's length field
};

// Row number is the form.
constexpr FormRow formRows[] = {
    {FormShape::unreadable, 0},  // FORM_NONE: no end of the attribute loop, but no value either
    {FormShape::fixed, 4},       // FORM_ADDR
    {FormShape::fixed, 4},       // FORM_REF
    {FormShape::block, 2},       // FORM_BLOCK2
    {FormShape::block, 4},       // FORM_BLOCK4
    {FormShape::fixed, 2},       // FORM_DATA2
    {FormShape::fixed, 4},       // FORM_DATA4
    {FormShape::fixed, 8},       // FORM_DATA8
    {FormShape::text, 0},        // FORM_STRING
    {FormShape::corrupt, 0},     // 0x9
    {FormShape::fixed, 4},       // FORM_VENDOR_4
    {FormShape::corrupt, 0},     // 0xB
    {FormShape::corrupt, 0},     // 0xC
    {FormShape::corrupt, 0},     // 0xD
    {FormShape::corrupt, 0},     // 0xE
    {FormShape::corrupt, 0},     // 0xF
};
static_assert(std::size(formRows) == FORM_MASK + 1);

// All three give the bytes that they consumed. A block's count is its length field and its length, also where the
// length is 2^31 or more and nothing behind it is skipped.
uint32_t SkipAttributeValue(uint32_t form);
uint32_t SkipBlock(uint32_t form);
uint32_t ReadDataForm(uint32_t form, uint32_t* value);  // 2, 4 or else 8 bytes, of which the first 4 are the value

inline uint32_t ReadByteSize(uint32_t form, int32_t* byteSize) {
  uint32_t value = 0;
  const uint32_t consumed = ReadDataForm(form, &value);
  *byteSize = static_cast<int32_t>(value);
  return consumed;
}

struct EntryHeader {
  uint32_t tag;
  uint32_t remaining;  // bytes of attributes
};

// Reads length and tag. False for a null entry.
inline bool ReadEntryHeader(EntryHeader* entry) {
  constexpr int32_t SHORTEST_ENTRY = 8;
  const uint32_t length = ReadU32();
  if (static_cast<int32_t>(length) < SHORTEST_ENTRY) {
    return false;
  }
  entry->tag = ReadU16();
  entry->remaining = length - 6;
  return true;
}

// The key of the entry whose header was read last: its offset.
inline uint32_t KeyOfEntry() {
  return dwarf1State.position - 6;
}

// Goes through an entry's attributes. AT_sibling goes to `nextOffset`; every other one to `readValue(name, form)`,
// which gives the bytes that it consumed. False when a corrupt form ended the loop, with the latch set.
template <typename ReadValue>
bool ReadAttributes(uint32_t remaining, uint32_t* nextOffset, ReadValue readValue) {
  const uint32_t start = dwarf1State.position;
  bool regular = true;
  while (static_cast<int32_t>(remaining) > 0) {
    const uint32_t code = ReadU16();
    const uint32_t form = code & FORM_MASK;
    const uint32_t name = code & NAME_MASK;
    remaining -= 2;
    if (formRows[form].shape == FormShape::corrupt) {
      Fail("corrupt form");
      regular = false;
      break;
    }
    if (name == AT_sibling) {
      *nextOffset = ReadU32();
      remaining -= 4;
    } else {
      remaining -= readValue(name, form);
    }
  }
  Work().SpendOnRecords(uint64_t{dwarf1State.position - start} + 6);
  return regular;
}

// Reads the AT_sibling of an entry that leaves no record. A padding entry is passed by its length instead, and the
// offset behind it goes to `nextOffset`.
void SkipEntryAttributes(const EntryHeader& entry, uint32_t* nextOffset);

}  // namespace dwarf1
