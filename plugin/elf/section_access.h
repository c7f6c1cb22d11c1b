// Reads of an ElfImage: sections by name, bytes and words in the image's byte order, and questions about the image.
//
// All readers share the image's one stream, so a seek moves the position for everybody. Reads cannot fail: a byte
// behind the end of the file is 0xFF. Where an operation reports, 1 is success and 0 is failure.
#pragma once

#include <cstdint>

#include "elf/elf_image.h"

// The first section of that name, compared exactly; null when there is none.
const ElfSectionHeader* ELF_FindSection(const ElfImage* image, const char* section);

// Positions the stream at `offset` in the section, which is not tested against the section's size. The first form
// reports 0 when there is no such section, the second when `section` is null.
int ELF_SeekSection(ElfImage* image, uint32_t offset, const char* section);
inline int ELF_SeekHeader(ElfImage* image, uint32_t offset, const ElfSectionHeader* section) {
  if (section == nullptr) {
    return 0;
  }
  image->file->Seek(static_cast<uint64_t>(section->sh_offset) + offset);
  return 1;
}

// The stream position minus the section's start; -1 when the section is missing.
int32_t ELF_SectionPos(ElfImage* image, const char* section);

// 0 when the section is missing.
uint32_t ELF_SectionSize(const ElfImage* image, const char* section);

inline int ELF_ReadByte(ElfImage* image, uint8_t* value) {
  *value = image->file->Byte();
  return 1;
}

inline int ELF_Read16(ElfImage* image, uint32_t* value) {
  ElfStream* file = image->file;
  uint32_t first = 0;
  uint32_t second = 0;
  if (file->BytesInBlock() >= 2) {
    first = file->Peek()[0];
    second = file->Peek()[1];
    file->Take(2);
  } else {
    first = file->Byte();
    second = file->Byte();
  }
  *value = image->littleEndian != 0 ? first | second << 8 : first << 8 | second;
  return 1;
}

// A word whose bytes do not all lie in the current block.
uint32_t ELF_Read32AcrossBlocks(ElfImage* image);

inline int ELF_Read32(ElfImage* image, uint32_t* value) {
  ElfStream* file = image->file;
  if (file->BytesInBlock() < 4) {
    *value = ELF_Read32AcrossBlocks(image);
    return 1;
  }
  const uint8_t* bytes = file->Peek();
  const uint32_t low = bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
                       static_cast<uint32_t>(bytes[3]) << 24;
  const uint32_t high = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
                        static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
  *value = image->littleEndian != 0 ? low : high;
  file->Take(4);
  return 1;
}

// Reads `count` bytes as they stand in the file. What lies behind the end of the file stays as it was in `buffer`;
// `countRead` is `count` all the same.
int ELF_ReadBlock(ElfImage* image, void* buffer, uint32_t count, uint32_t* countRead);

// Moves the position by a distance of either sign; a move in front of the file is not made. Reports 1.
int ELF_Skip(ElfImage* image, int32_t distance);

// Bytes between the position and the end of the file.
inline uint64_t ELF_BytesLeft(const ElfImage* image) {
  return image->file->BytesLeft();
}

// Reports 0, with the outputs as they were, when the image has no program header table.
int ELF_GetMachine(const ElfImage* image, uint32_t* machine, uint32_t* programHeaderCount, uint32_t* entry);

// What to load for a program header: its address is p_vaddr, or p_paddr where that is 0. Positions the stream at the
// segment's bytes. Reports 0 behind the table, with the outputs as they were, and for a type other than PT_LOAD, with
// the outputs set.
int ELF_GetSegment(ElfImage* image, uint32_t index, uint32_t* address, uint32_t* fileSize, uint32_t* memorySize,
                   uint32_t* flags);

int ELF_NoteValue(const ElfImage* image, uint32_t* value);
int ELF_NoteText(const ElfImage* image, char** text);

inline int ELF_IsLittleEndian(const ElfImage* image) {
  return image->littleEndian != 0 ? 1 : 0;
}
