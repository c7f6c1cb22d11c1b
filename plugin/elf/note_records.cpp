#include "elf/note_records.h"

#include <cstdlib>
#include <cstring>

#include "elf/section_access.h"

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

bool ReadNoteText(ElfImage* image, uint32_t size) {
  if (size == 0) {
    return true;
  }
  char* text = size <= ELF_BytesLeft(image) ? static_cast<char*>(std::calloc(size, 1)) : nullptr;
  if (text == nullptr) {
    return false;
  }
  uint32_t countRead = 0;
  ELF_ReadBlock(image, text, size, &countRead);
  text[size - 1] = 0;
  std::free(image->noteText);
  image->noteText = text;
  return true;
}

// Reads the record at the stream's position, whose name and descriptor lie in the section, and acts by its type.
bool ReadNoteBody(ElfImage* image, uint32_t nameSize, uint32_t descriptorSize, uint32_t type, uint32_t* value) {
  char name[NAME_BUFFER_SIZE] = {};
  uint32_t countRead = 0;
  bool accounted = false;
  if (nameSize < NAME_BUFFER_SIZE) {
    ELF_ReadBlock(image, name, nameSize, &countRead);
    accounted = std::strcmp(name, NOTE_NAME) == 0;
  } else {
    ELF_Skip(image, static_cast<int32_t>(nameSize));
  }
  if (!accounted) {
    ELF_Skip(image, static_cast<int32_t>(descriptorSize));
    return true;
  }
  switch (type) {
    case NOTE_TYPE_VALUE:
      return descriptorSize == sizeof(*value) && ELF_Read32(image, value) != 0;
    case NOTE_TYPE_TEXT:
      return ReadNoteText(image, descriptorSize);
    default:
      ELF_Skip(image, static_cast<int32_t>(descriptorSize));
      return true;
  }
}

// Walks the records of a section; false when one fails or does not fit what is left of the section.
bool WalkNoteRecords(ElfImage* image, const ElfSectionHeader* section, uint32_t* value) {
  ELF_SeekHeader(image, 0, section);
  uint32_t remaining = section->sh_size;
  while (remaining != 0) {
    if (remaining < NOTE_HEADER_SIZE) {
      return false;
    }
    uint32_t nameSize = 0;
    uint32_t descriptorSize = 0;
    uint32_t type = 0;
    ELF_Read32(image, &nameSize);
    ELF_Read32(image, &descriptorSize);
    ELF_Read32(image, &type);
    remaining -= NOTE_HEADER_SIZE;
    if (nameSize > remaining || descriptorSize > remaining - nameSize) {
      return false;
    }
    if (!ReadNoteBody(image, nameSize, descriptorSize, type, value)) {
      return false;
    }
    remaining -= nameSize + descriptorSize;
  }
  return true;
}

}  // namespace

void ReadNoteRecords(ElfImage* image) {
  const ElfSectionHeader* section = FindNoteSection(image);
  uint32_t value = NOTE_VALUE_DEFAULT;
  if (section != nullptr && WalkNoteRecords(image, section, &value)) {
    image->noteValue = value;
  }
}
