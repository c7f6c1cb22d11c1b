#include "elf/elf_image.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "elf/note_records.h"
#include "elf/section_access.h"
#include "tarnixcore/files.h"
#include "tarnixcore/text.h"

namespace {

constexpr uint32_t PROGRAM_HEADER_SIZE = 32;
constexpr uint32_t SECTION_HEADER_SIZE = 40;
static_assert(sizeof(ElfProgramHeader) == PROGRAM_HEADER_SIZE);
static_assert(sizeof(ElfSectionHeader) == SECTION_HEADER_SIZE);

// Opens the file as named or along the search path, and tells its full path. Null when there is none.
ElfStream* OpenStream(const char* fileName, char* fullPath, int fullPathSize) {
  std::unique_ptr<ElfStream> stream = ElfStream::Open(fileName);
  if (stream != nullptr) {
    FE_FullPath(fullPath, fileName, fullPathSize);
    return stream.release();
  }
  char found[FE_NAME_SIZE] = {};
  const int handle = FE_FopenPath(fileName, found, FE_ABSOLUTE_FILES);
  if (handle == -1) {
    return nullptr;
  }
  FE_Close(handle);
  stream = ElfStream::Open(found);
  if (stream != nullptr) {
    TU_strncpy(fullPath, found, fullPathSize);
  }
  return stream.release();
}

uint16_t ReadHalf(ElfImage* image) {
  uint32_t value = 0;
  ELF_Read16(image, &value);
  return static_cast<uint16_t>(value);
}

uint32_t ReadWord(ElfImage* image) {
  uint32_t value = 0;
  ELF_Read32(image, &value);
  return value;
}

void ReadElfHeader(ElfImage* image) {
  uint32_t countRead = 0;
  ELF_ReadBlock(image, image->e_ident, EI_NIDENT, &countRead);
  image->littleEndian = image->e_ident[EI_DATA] == ELFDATA2LSB ? 1 : 0;
  image->e_type = ReadHalf(image);
  image->e_machine = ReadHalf(image);
  image->e_version = ReadWord(image);
  image->e_entry = ReadWord(image);
  image->e_phoff = ReadWord(image);
  image->e_shoff = ReadWord(image);
  image->e_flags = ReadWord(image);
  image->e_ehsize = ReadHalf(image);
  image->e_phentsize = ReadHalf(image);
  image->e_phnum = ReadHalf(image);
  image->e_shentsize = ReadHalf(image);
  image->e_shnum = ReadHalf(image);
  image->e_shstrndx = ReadHalf(image);
}

// An entry size of 0 stands for the size of the 32-bit format. Class and type are not looked at: a 64-bit file falls at
// its entry sizes.
bool TestElfHeader(ElfImage* image) {
  const auto fileSize = static_cast<uint64_t>(image->file->Size());
  if (std::memcmp(image->e_ident,
                  "\x7F"
                  "ELF",
                  4) != 0) {
    return false;
  }
  if (image->e_shentsize == 0) {
    image->e_shentsize = SECTION_HEADER_SIZE;
  }
  if (image->e_phentsize == 0) {
    image->e_phentsize = PROGRAM_HEADER_SIZE;
  }
  return image->e_shentsize == SECTION_HEADER_SIZE && image->e_phentsize == PROGRAM_HEADER_SIZE &&
         image->e_phoff <= fileSize && image->e_shoff <= fileSize && image->e_ehsize <= fileSize &&
         uint64_t{image->e_phnum} * PROGRAM_HEADER_SIZE < fileSize &&
         uint64_t{image->e_shnum} * SECTION_HEADER_SIZE < fileSize;
}

// A table of `count` cleared entries, never of no bytes, so that an empty table is told from a missing one.
template <typename Entry>
Entry* NewTable(uint32_t count) {
  return static_cast<Entry*>(std::calloc(count != 0 ? count : 1, sizeof(Entry)));
}

// Leaves `programHeaders` null when the file has no table: such a file can still be opened.
void ReadProgramHeaders(ElfImage* image) {
  image->programHeaders = image->e_phoff != 0 ? NewTable<ElfProgramHeader>(image->e_phnum) : nullptr;
  if (image->programHeaders == nullptr) {
    std::printf("No Program Header Table\nERROR: ReadProgHeaderTab\n");
    return;
  }
  image->file->Seek(image->e_phoff);
  for (uint32_t i = 0; i < image->e_phnum; ++i) {
    ElfProgramHeader& header = image->programHeaders[i];
    for (uint32_t* field : {&header.p_type, &header.p_offset, &header.p_vaddr, &header.p_paddr, &header.p_filesz,
                            &header.p_memsz, &header.p_flags, &header.p_align}) {
      *field = ReadWord(image);
    }
  }
}

bool SegmentsLieInFile(const ElfImage* image) {
  for (uint32_t i = 0; image->programHeaders != nullptr && i < image->e_phnum; ++i) {
    const ElfProgramHeader& header = image->programHeaders[i];
    const uint64_t end = static_cast<uint64_t>(header.p_offset) + header.p_filesz;
    if (header.p_filesz != 0 && end > static_cast<uint64_t>(image->file->Size())) {
      return false;
    }
  }
  return true;
}

bool FailSectionTable(const char* reason) {
  std::printf("%s\nERROR: ReadSectHeaderTab\n", reason);
  return false;
}

bool ReadSectionNames(ElfImage* image) {
  if (image->e_shstrndx >= image->e_shnum) {
    return FailSectionTable("Read String Table");
  }
  const ElfSectionHeader& names = image->sectionHeaders[image->e_shstrndx];
  image->file->Seek(names.sh_offset);
  if (names.sh_size > ELF_BytesLeft(image) || names.sh_size == UINT32_MAX) {  // a terminator is put behind them
    return FailSectionTable("Size error");
  }
  image->sectionNames = NewTable<char>(names.sh_size + 1);
  if (image->sectionNames == nullptr) {
    return FailSectionTable("Read String Table");
  }
  uint32_t countRead = 0;
  return ELF_ReadBlock(image, image->sectionNames, names.sh_size, &countRead) != 0;
}

bool ReadSectionHeaders(ElfImage* image) {
  if (image->e_shoff == 0) {
    return FailSectionTable("No Section Header Table");
  }
  image->sectionHeaders = NewTable<ElfSectionHeader>(image->e_shnum);
  if (image->sectionHeaders == nullptr) {
    return FailSectionTable("Read Section Header Table");
  }
  image->file->Seek(image->e_shoff);
  for (uint32_t i = 0; i < image->e_shnum; ++i) {
    ElfSectionHeader& header = image->sectionHeaders[i];
    for (uint32_t* field :
         {&header.sh_name, &header.sh_type, &header.sh_flags, &header.sh_addr, &header.sh_offset, &header.sh_size,
          &header.sh_link, &header.sh_info, &header.sh_addralign, &header.sh_entsize}) {
      *field = ReadWord(image);
    }
  }
  return ReadSectionNames(image);
}

// Reads and tests header and tables; false when the file is refused, the reason printed.
bool ReadTables(ElfImage* image) {
  if (image->file->Size() < 0) {
    std::printf("FILE ERROR\n");
    return false;
  }
  ReadElfHeader(image);
  if (!TestElfHeader(image)) {
    std::printf("ERROR: not ELF or illegal ELF header values\n");
    return false;
  }
  ReadProgramHeaders(image);
  if (!SegmentsLieInFile(image)) {
    std::printf("ERROR: illegal ELF header values (file corrupt?)\n");
    return false;
  }
  return ReadSectionHeaders(image);
}

}  // namespace

ElfImage* ELF_Open(const char* fileName, char* fullPath, int fullPathSize) {
  auto* image = static_cast<ElfImage*>(std::calloc(1, sizeof(ElfImage)));
  if (image == nullptr) {
    return nullptr;
  }
  image->noteValue = NOTE_VALUE_DEFAULT;
  image->warnOutOfDate = 1;
  image->file = OpenStream(fileName, fullPath, fullPathSize);
  if (image->file == nullptr) {
    std::free(image);
    return nullptr;
  }
  image->fileTime = image->file->ModificationTime();
  if (!ReadTables(image)) {
    ELF_Close(image);
    return nullptr;
  }
  ReadNoteRecords(image);
  return image;
}

void ELF_Close(ElfImage* image) {
  std::free(image->sectionHeaders);
  std::free(image->sectionNames);
  std::free(image->noteText);
  std::free(image->programHeaders);
  delete image->file;
  std::free(image);
}
