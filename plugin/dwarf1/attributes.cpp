#include "dwarf1/attributes.h"

#include "dwarf1/text.h"

namespace dwarf1 {

uint32_t SkipBlock(uint32_t form) {
  const uint32_t sizeOfLength = formRows[form].size;
  const uint32_t length = sizeOfLength == 2 ? ReadU16() : ReadU32();
  SkipBytes(length);
  return length + sizeOfLength;
}

uint32_t SkipAttributeValue(uint32_t form) {
  const FormRow& row = formRows[form];
  switch (row.shape) {
    case FormShape::fixed:
      SkipBytes(row.size);
      return row.size;
    case FormShape::block:
      return SkipBlock(form);
    case FormShape::text:
      return SkipString();
    default:
      Fail("form without value");
      return 0;
  }
}

uint32_t ReadDataForm(uint32_t form, uint32_t* value) {
  if (form == FORM_DATA2) {
    *value = ReadU16();
    return 2;
  }
  *value = ReadU32();
  if (form == FORM_DATA4) {
    return 4;
  }
  ReadU32();
  return 8;
}

void SkipEntryAttributes(const EntryHeader& entry, uint32_t* nextOffset) {
  if (entry.tag == TAG_padding) {
    SkipBytes(entry.remaining);
    *nextOffset = DebugPosition();
    return;
  }
  ReadAttributes(entry.remaining, nextOffset,
                 [](uint32_t /*name*/, uint32_t form) { return SkipAttributeValue(form); });
}

}  // namespace dwarf1
