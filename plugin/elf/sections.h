// Sections by name, and questions about an opened image. Where an operation reports, 1 is success and 0 is failure.
#pragma once

#include <cstdint>

#include "elf/cursor.h"
#include "elf/elf_image.h"

// The first section of that name, compared exactly; null when there is none. A walk over all headers: readers look
// their sections up once, when the file is opened.
const ElfSectionHeader* ELF_FindSection(const ElfImage* image, const char* section);

// The section as cursors take it. `section` must be a text of static life.
SectionPlace ELF_PlaceOf(const ElfImage* image, const char* section);

// Reports 0, with the outputs as they were, when the image has no program header table.
int ELF_GetMachine(const ElfImage* image, uint32_t* machine, uint32_t* programHeaderCount, uint32_t* entry);

// What to load for a program header: its address is p_vaddr, or p_paddr where that is 0; its bytes are at `offset` of
// the file. Reports 0 past the table, with the outputs as they were, and for a type other than PT_LOAD, with the
// outputs set.
struct ElfSegment {
  uint32_t address;
  uint32_t offset;
  uint32_t fileSize;
  uint32_t memorySize;
  uint32_t flags;  // p_flags
};
int ELF_GetSegment(const ElfImage* image, uint32_t index, ElfSegment* segment);

inline bool ELF_IsLittleEndian(const ElfImage* image) {
  return image->littleEndian != 0;
}
