#include "dwarf1/entry_cursor.h"

#include <algorithm>
#include <cstdarg>

namespace dwarf1 {

void EntryCursor::Damage(const char* format, ...) {
  if (isStrict_) {
    va_list arguments;
    va_start(arguments, format);
    failure().NoteList(Section().name, Offset(), format, arguments);
    va_end(arguments);
  }
}

void EntryCursor::SkipPadding(const EntryHeader& entry) {
  Charge(std::min<uint64_t>(entry.remaining, BytesLeft()) + HEADER_SIZE);
  Skip(entry.remaining);
}

uint32_t EntryCursor::SkipBlock(uint32_t sizeOfLength) {
  const uint32_t length = sizeOfLength == 2 ? U16() : U32();
  if (static_cast<int32_t>(length) > 0) {
    Skip(length);
  }
  return length + sizeOfLength;
}

uint32_t EntryCursor::SkipValue(uint32_t form) {
  const FormRow& row = formRows[form];
  switch (row.shape) {
    case FormShape::fixed:
      Skip(row.size);
      return row.size;
    case FormShape::block:
      return SkipBlock(row.size);
    case FormShape::text:
      return SkipText();
    default:
      Damage("an attribute of form 0x%X has no value", form);
      return 0;
  }
}

uint32_t EntryCursor::ReadData(uint32_t form, uint32_t* value) {
  if (form == FORM_DATA2) {
    *value = U16();
    return 2;
  }
  *value = U32();
  if (form == FORM_DATA4) {
    return 4;
  }
  U32();
  return 8;
}

uint32_t EntryCursor::ReadText(char* buffer, uint32_t size) {
  bool isEnded = false;
  const uint32_t length = TextLength(&isEnded);
  if (!isEnded) {
    Damage("the file ends in a text");
  }
  const uint32_t consumed = length + (isEnded ? 1 : 0);
  const uint32_t kept = std::min(length, size - 1);
  Read(buffer, kept);
  buffer[kept] = 0;
  Skip(consumed - kept);
  return consumed;
}

uint32_t EntryCursor::ReadName(RecordHeap* heap, char** name) {
  uint32_t length = 0;
  const uint8_t* text = TextInWindow(&length);
  if (text != nullptr && length < NAME_SIZE) {
    *name = length > 0 ? heap->CopyText(text, length) : EmptyString();
    Take(length + 1);
    return length + 1;
  }
  char buffer[NAME_SIZE];
  const uint32_t consumed = ReadText(buffer, sizeof(buffer));
  *name = buffer[0] != 0 ? heap->CopyText(buffer, std::strlen(buffer)) : EmptyString();
  return consumed;
}

uint32_t EntryCursor::SkipText() {
  char nothing[1];
  return ReadText(nothing, sizeof(nothing));
}

}  // namespace dwarf1
