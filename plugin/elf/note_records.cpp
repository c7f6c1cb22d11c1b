#include "elf/note_records.h"

#include <cstdlib>
#include <cstring>

#include "elf/cursor.h"
#include "elf/elf_image.h"

namespace {

// A record: name size (4), descriptor size (4), type (4), name, descriptor, without alignment padding between them.
constexpr uint32_t NOTE_HEADER_SIZE = 12;
constexpr uint32_t NOTE_TYPE_VALUE = 10;
constexpr uint32_t NOTE_TYPE_TEXT = 11;
constexpr uint32_t NAME_BUFFER_SIZE = 100;
constexpr char NOTE_NAME[] = "TARNIX AG";

const ElfSectionHeader* FindNoteSection(const ElfImage* image) {
  for (uint32_t i = 0; i < image->e_shnum; ++i) {
    if (image->sectionHeaders[i].sh_type == SHT_NOTE) {
      return &image->sectionHeaders[i];
    }
  }
  return nullptr;
}

bool ReadNoteText(ElfImage* image, Cursor* cursor, uint32_t size) {
  if (size == 0) {
    return true;
  }
  char* text = size <= cursor->BytesLeft() ? static_cast<char*>(std::calloc(size, 1)) : nullptr;
  if (text == nullptr) {
    return false;
  }
  cursor->Read(text, size);
  text[size - 1] = 0;
  std::free(image->noteText);
  image->noteText = text;
  return true;
}

// Reads the record at the position, whose name and descriptor are in the section, and acts by its type.
bool ReadNoteBody(ElfImage* image, Cursor* cursor, uint32_t nameSize, uint32_t descriptorSize, uint32_t type,
                  uint32_t* value) {
  char name[NAME_BUFFER_SIZE] = {};
  bool accounted = false;
  if (nameSize < NAME_BUFFER_SIZE) {
    cursor->Read(name, nameSize);
    accounted = std::strcmp(name, NOTE_NAME) == 0;
  } else {
    cursor->Skip(nameSize);
  }
  if (!accounted) {
    cursor->Skip(descriptorSize);
    return true;
  }
  switch (type) {
    case NOTE_TYPE_VALUE:
      if (descriptorSize == sizeof(*value)) {
        *value = cursor->U32();
      }
      return descriptorSize == sizeof(*value);
    case NOTE_TYPE_TEXT:
      return ReadNoteText(image, cursor, descriptorSize);
    default:
      cursor->Skip(descriptorSize);
      return true;
  }
}

// Walks the records of a section; false when one fails or does not fit what is left of the section.
bool WalkNoteRecords(ElfImage* image, Cursor* cursor, const ElfSectionHeader* section, uint32_t* value) {
  cursor->Seek({".note", section->sh_offset, section->sh_size, true}, 0);
  uint32_t remaining = section->sh_size;
  while (remaining != 0) {
    if (remaining < NOTE_HEADER_SIZE) {
      return false;
    }
    const uint32_t nameSize = cursor->U32();
    const uint32_t descriptorSize = cursor->U32();
    const uint32_t type = cursor->U32();
    remaining -= NOTE_HEADER_SIZE;
    if (nameSize > remaining || descriptorSize > remaining - nameSize) {
      return false;
    }
    if (!ReadNoteBody(image, cursor, nameSize, descriptorSize, type, value)) {
      return false;
    }
    remaining -= nameSize + descriptorSize;
  }
  return true;
}

}  // namespace

bool ReadNoteRecords(ElfImage* image, Cursor* cursor) {
  const ElfSectionHeader* section = FindNoteSection(image);
  uint32_t value = NOTE_VALUE_DEFAULT;
  if (section != nullptr && WalkNoteRecords(image, cursor, section, &value)) {
    image->noteValue = value;
  }
  return !cursor->failure();
}
