// The cursor of `.debug`: entries, the one loop over their attributes, values by their form, and texts.
//
// An entry:
//   +0  4  length in bytes, this field included, signed; below 8 the entry is a null entry and has nothing else
//   +4  2  tag
//   +6     attributes, to the entry's end: a 2-byte code (name and form), then the value
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "dwarf/form_shape.h"
#include "dwarf1/tags.h"
#include "elf/cursor.h"
#include "records/record_heap.h"

namespace dwarf1 {

// Row number is the form.
constexpr FormRow formRows[] = {
    {FormShape::none, 0},     // FORM_NONE: no end of the attribute loop, but no value either
    {FormShape::fixed, 4},    // FORM_ADDR
    {FormShape::fixed, 4},    // FORM_REF
    {FormShape::block, 2},    // FORM_BLOCK2
    {FormShape::block, 4},    // FORM_BLOCK4
    {FormShape::fixed, 2},    // FORM_DATA2
    {FormShape::fixed, 4},    // FORM_DATA4
    {FormShape::fixed, 8},    // FORM_DATA8
    {FormShape::text, 0},     // FORM_STRING
    {FormShape::invalid, 0},  // 0x9
    {FormShape::fixed, 4},    // FORM_VENDOR_4
    {FormShape::invalid, 0},  // 0xB
    {FormShape::invalid, 0},  // 0xC
    {FormShape::invalid, 0},  // 0xD
    {FormShape::invalid, 0},  // 0xE
    {FormShape::invalid, 0},  // 0xF
};
static_assert(sizeof(formRows) / sizeof(formRows[0]) == FORM_MASK + 1);

struct EntryHeader {
  uint32_t offset;  // in the section: the key of the type that the entry defines
  uint32_t tag;
  uint32_t remaining;  // bytes of attributes
};

class EntryCursor : public Cursor {
 public:
  using Cursor::Cursor;

  // A read past the end of the file does not move: the walks along siblings go by the position.
  uint8_t U8() { return Has(1) ? *Take(1) : Settled(Cursor::U8()); }
  uint32_t U16() { return Has(2) ? Read16(Take(2)) : Settled(Cursor::U16()); }
  uint32_t U32() { return Has(4) ? Read32(Take(4)) : Settled(Cursor::U32()); }

  // How many of the next `count` bytes the file has.
  uint32_t BytesInFile(uint32_t count) const {
    return Has(count) ? count : static_cast<uint32_t>(std::min<uint64_t>(count, BytesLeft()));
  }

  // Copies `count` bytes, which the file has.
  void ReadBytes(uint8_t* buffer, uint32_t count) {
    if (Has(count)) {
      std::memcpy(buffer, Take(count), count);
    } else {
      Read(buffer, count);
    }
  }

  // Whether what is wrong in entries is a failure. In a unit's own entry it is none: the unit is there all the same.
  void SetStrict(bool isStrict) { isStrict_ = isStrict; }

  // Goes to an offset of the same section. A jump reads little at first.
  void Jump(uint32_t offset) {
    const uint32_t distance = offset - Offset();
    if (Has(distance)) {
      Take(distance);
    } else if (distance <= NEAR) {
      Seek(offset);
    } else {
      Seek(Section(), offset, JUMP_WINDOW);
    }
  }

  // Reads length and tag. False for a null entry.
  bool ReadHeader(EntryHeader* entry) {
    entry->offset = Offset();
    const uint32_t length = U32();
    if (static_cast<int32_t>(length) < SHORTEST_ENTRY) {
      return false;
    }
    entry->tag = U16();
    entry->remaining = length - HEADER_SIZE;
    return true;
  }

  // Goes through an entry's attributes. AT_sibling goes to `sibling`; those that are taken go to `readValue(name,
  // form)`, which returns the bytes that the value counts for, and all others are skipped. False when an unassigned
  // form ended the loop. The entry's bytes are charged.
  template <typename ReadValue>
  bool ReadAttributes(const EntryHeader& entry, AttributeSet taken, uint32_t* sibling, ReadValue readValue) {
    const uint64_t leftAtStart = BytesLeft();
    bool isRegular = true;
    for (uint32_t remaining = entry.remaining; static_cast<int32_t>(remaining) > 0;) {
      const uint32_t code = U16();
      const uint32_t form = code & FORM_MASK;
      const uint32_t name = code & NAME_MASK;
      remaining -= 2;
      if (formRows[form].shape == FormShape::invalid) {
        Damage("an attribute has the unassigned form 0x%X", form);
        isRegular = false;
        break;
      }
      if (name == AT_sibling) {
        *sibling = U32();
        remaining -= 4;
      } else {
        remaining -= IsIn(taken, name) ? readValue(name, form) : SkipValue(form);
      }
    }
    Charge(HEADER_SIZE + leftAtStart - BytesLeft());
    return isRegular;
  }

  // Passes a padding entry by its length.
  void SkipPadding(const EntryHeader& entry);

  // Notes what is wrong in an entry.
  void Damage(const char* format, ...) ELFLOADER_PRINTF(2, 3);

  // Values. All return the bytes that the value counts for. A block counts with its length, also where that is 2^31 or
  // more and nothing is skipped.
  uint32_t SkipValue(uint32_t form);
  uint32_t ReadData(uint32_t form, uint32_t* value);  // 2, 4 or else 8 bytes, of which the first 4 are the value
  uint32_t ReadText(char* buffer, uint32_t size);     // cut to `size` - 1 bytes
  uint32_t ReadName(RecordHeap* heap, char** name);   // cut to NAME_SIZE - 1 bytes
  uint32_t SkipText();

  static constexpr uint32_t NAME_SIZE = 1024;  // bytes that are kept of a name, with its NUL
  static constexpr uint32_t HEADER_SIZE = 6;
  static constexpr uint32_t JUMP_WINDOW = 256;

 private:
  static constexpr int32_t SHORTEST_ENTRY = 8;
  static constexpr uint32_t NEAR = 4096;

  // Whether the window has so many bytes of the file, and the way past them.
  bool Has(uint32_t count) const { return static_cast<size_t>(End() - Next()) >= count; }
  const uint8_t* Take(uint32_t count) {
    const uint8_t* bytes = Next();
    SetNext(bytes + count);
    return bytes;
  }

  template <typename Value>
  Value Settled(Value value) {
    if (Next() > End()) {
      SetNext(End());
    }
    return value;
  }

  uint32_t SkipBlock(uint32_t sizeOfLength);

  bool isStrict_ = true;
};

}  // namespace dwarf1
