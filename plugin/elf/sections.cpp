#include "elf/sections.h"

#include <cstring>

const ElfSectionHeader* ELF_FindSection(const ElfImage* image, const char* section) {
  // Opening refused a file whose name table is not one of its sections, unless it has no sections at all.
  const uint32_t namesSize = image->e_shnum != 0 ? image->sectionHeaders[image->e_shstrndx].sh_size : 0;
  for (uint32_t i = 0; i < image->e_shnum; ++i) {
    const ElfSectionHeader* header = &image->sectionHeaders[i];
    if (header->sh_name < namesSize && std::strcmp(image->sectionNames + header->sh_name, section) == 0) {
      return header;
    }
  }
  return nullptr;
}

SectionPlace ELF_PlaceOf(const ElfImage* image, const char* section) {
  const ElfSectionHeader* header = ELF_FindSection(image, section);
  return header != nullptr ? SectionPlace{section, header->sh_offset, header->sh_size, true}
                           : SectionPlace{section, 0, 0, false};
}

int ELF_GetMachine(const ElfImage* image, uint32_t* machine, uint32_t* programHeaderCount, uint32_t* entry) {
  if (image->programHeaders == nullptr) {
    return 0;
  }
  *machine = image->e_machine;
  *programHeaderCount = image->e_phnum;
  *entry = image->e_entry;
  return 1;
}

int ELF_GetSegment(const ElfImage* image, uint32_t index, ElfSegment* segment) {
  if (index >= image->e_phnum || image->programHeaders == nullptr) {
    return 0;
  }
  const ElfProgramHeader& header = image->programHeaders[index];
  *segment = {.address = header.p_vaddr != 0 ? header.p_vaddr : header.p_paddr,
              .offset = header.p_offset,
              .fileSize = header.p_filesz,
              .memorySize = header.p_memsz,
              .flags = header.p_flags};
  return header.p_type == PT_LOAD ? 1 : 0;
}
