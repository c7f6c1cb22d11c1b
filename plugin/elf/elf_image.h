// The opened absolute file: ELF header, tables and note values in host byte order, and the bytes that all readers
// share.
//
//   char fullPath[FE_NAME_SIZE];
//   ElfImage* image = ELF_Open("main.elf", fullPath, sizeof(fullPath), &failure);  // null, with a line on standard
//   output ELF_Close(image);
#pragma once

#include <cstdint>

#include "elf/byte_source.h"
#include "elf/elf_constants.h"
#include "records/failure.h"

// Elf32_Phdr
struct ElfProgramHeader {
  uint32_t p_type;
  uint32_t p_offset;
  uint32_t p_vaddr;
  uint32_t p_paddr;
  uint32_t p_filesz;
  uint32_t p_memsz;
  uint32_t p_flags;
  uint32_t p_align;
};

// Elf32_Shdr
struct ElfSectionHeader {
  uint32_t sh_name;
  uint32_t sh_type;
  uint32_t sh_flags;
  uint32_t sh_addr;
  uint32_t sh_offset;
  uint32_t sh_size;
  uint32_t sh_link;
  uint32_t sh_info;
  uint32_t sh_addralign;
  uint32_t sh_entsize;
};

// Elf32_Ehdr, and what was read after it. In the process's memory, since it outlives a Build.
struct ElfImage {
  uint8_t e_ident[EI_NIDENT];
  uint16_t e_type;
  uint16_t e_machine;
  uint32_t e_version;
  uint32_t e_entry;
  uint32_t e_phoff;
  uint32_t e_shoff;
  uint32_t e_flags;
  uint16_t e_ehsize;
  uint16_t e_phentsize;  // 32 after reading
  uint16_t e_phnum;
  uint16_t e_shentsize;  // 40 after reading
  uint16_t e_shnum;
  uint16_t e_shstrndx;
  ElfProgramHeader* programHeaders;  // e_phnum of them, or null when the file has no table
  ElfSectionHeader* sectionHeaders;  // e_shnum of them
  uint32_t noteValue;                // note record of type 10; NOTE_VALUE_DEFAULT when the file has none
  ByteSource* file;
  char* sectionNames;      // as many bytes as the section has, and a terminator
  char* noteText;          // note record of type 11, terminated; null when the file has none
  uint32_t littleEndian;   // 1 when e_ident[EI_DATA] is ELFDATA2LSB; all other values mean big-endian
  uint32_t warnOutOfDate;  // 1 until the user asks for no more warnings of younger source files
  uint32_t fileTime;       // modification time, comparable with FE_FileModTimeV
};

constexpr uint32_t NOTE_VALUE_DEFAULT = 16;

// Opens and reads `fileName`, as it is or along the search path of absolute files. `fullPath` receives the full path of
// the file that was found. Null when there is no such file or it is no readable ELF file; the reason goes to standard
// output and to `failure`.
ElfImage* ELF_Open(const char* fileName, char* fullPath, int fullPathSize, Failure* failure);

// The same for bytes that are there already.
ElfImage* ELF_OpenSource(std::unique_ptr<ByteSource> file, Failure* failure);

// Frees the image with all that it holds. Must not be null.
void ELF_Close(ElfImage* image);
