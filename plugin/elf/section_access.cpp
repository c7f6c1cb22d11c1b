#include "elf/section_access.h"

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

int ELF_SeekSection(ElfImage* image, uint32_t offset, const char* section) {
  return ELF_SeekHeader(image, offset, ELF_FindSection(image, section));
}

int32_t ELF_SectionPos(ElfImage* image, const char* section) {
  const ElfSectionHeader* header = ELF_FindSection(image, section);
  return header == nullptr ? -1 : static_cast<int32_t>(image->file->Position() - header->sh_offset);
}

uint32_t ELF_SectionSize(const ElfImage* image, const char* section) {
  const ElfSectionHeader* header = ELF_FindSection(image, section);
  return header == nullptr ? 0 : header->sh_size;
}

uint32_t ELF_Read32AcrossBlocks(ElfImage* image) {
  uint32_t first = 0;
  uint32_t second = 0;
  ELF_Read16(image, &first);
  ELF_Read16(image, &second);
  return image->littleEndian != 0 ? first | second << 16 : first << 16 | second;
}

int ELF_ReadBlock(ElfImage* image, void* buffer, uint32_t count, uint32_t* countRead) {
  image->file->Read(buffer, count);
  *countRead = count;
  return 1;
}

int ELF_Skip(ElfImage* image, int32_t distance) {
  const auto target = static_cast<int64_t>(image->file->Position()) + distance;
  if (target >= 0) {
    image->file->Seek(static_cast<uint64_t>(target));
  }
  return 1;
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

int ELF_GetSegment(ElfImage* image, uint32_t index, uint32_t* address, uint32_t* fileSize, uint32_t* memorySize,
                   uint32_t* flags) {
  if (index >= image->e_phnum || image->programHeaders == nullptr) {
    return 0;
  }
  const ElfProgramHeader& header = image->programHeaders[index];
  *flags = header.p_flags;
  *fileSize = header.p_filesz;
  *memorySize = header.p_memsz;
  *address = header.p_vaddr != 0 ? header.p_vaddr : header.p_paddr;
  if (header.p_type != PT_LOAD) {
    return 0;
  }
  image->file->Seek(header.p_offset);
  return 1;
}

int ELF_NoteValue(const ElfImage* image, uint32_t* value) {
  *value = image->noteValue;
  return 1;
}

int ELF_NoteText(const ElfImage* image, char** text) {
  *text = image->noteText;
  return 1;
}
