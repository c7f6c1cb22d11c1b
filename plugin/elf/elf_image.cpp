#include "elf/elf_image.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "elf/cursor.h"
#include "elf/note_records.h"
#include "tarnixcore/files.h"
#include "tarnixcore/text.h"

namespace {

constexpr uint32_t PROGRAM_HEADER_SIZE = 32;
constexpr uint32_t SECTION_HEADER_SIZE = 40;
static_assert(sizeof(ElfProgramHeader) == PROGRAM_HEADER_SIZE);
static_assert(sizeof(ElfSectionHeader) == SECTION_HEADER_SIZE);

constexpr SectionPlace wholeFile = {nullptr, 0, 0, true};

// Opens the file as named or along the search path, and sets its full path. Null when there is none.
std::unique_ptr<ByteSource> OpenSource(const char* fileName, char* fullPath, int fullPathSize) {
  std::unique_ptr<ByteSource> source = ByteSource::Open(fileName);
  if (source != nullptr) {
    FE_FullPath(fullPath, fileName, fullPathSize);
    return source;
  }
  char found[FE_NAME_SIZE] = {};
  const int handle = FE_FopenPath(fileName, found, FE_ABSOLUTE_FILES);
  if (handle == -1) {
    return nullptr;
  }
  FE_Close(handle);
  source = ByteSource::Open(found);
  if (source != nullptr) {
    TU_strncpy(fullPath, found, fullPathSize);
  }
  return source;
}

// What goes to standard output is all that a host sees of a refused file; the failure says the same with its place.
bool Refuse(Failure* failure, uint32_t offset, const char* printed, const char* reason) {
  std::printf("%s", printed);
  failure->Note(nullptr, offset, "%s", reason);
  return false;
}

uint16_t ReadHalf(Cursor* cursor) {
  return static_cast<uint16_t>(cursor->U16());
}

void ReadElfHeader(ElfImage* image, Cursor* cursor) {
  image->file->ReadAt(0, image->e_ident, EI_NIDENT);
  image->littleEndian = image->e_ident[EI_DATA] == ELFDATA2LSB ? 1 : 0;
  cursor->Use(image->file, image->littleEndian != 0);
  cursor->Seek(wholeFile, EI_NIDENT);
  image->e_type = ReadHalf(cursor);
  image->e_machine = ReadHalf(cursor);
  image->e_version = cursor->U32();
  image->e_entry = cursor->U32();
  image->e_phoff = cursor->U32();
  image->e_shoff = cursor->U32();
  image->e_flags = cursor->U32();
  image->e_ehsize = ReadHalf(cursor);
  image->e_phentsize = ReadHalf(cursor);
  image->e_phnum = ReadHalf(cursor);
  image->e_shentsize = ReadHalf(cursor);
  image->e_shnum = ReadHalf(cursor);
  image->e_shstrndx = ReadHalf(cursor);
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
bool ReadProgramHeaders(ElfImage* image, Cursor* cursor) {
  if (image->e_phoff == 0) {
    std::printf("No Program Header Table\nERROR: ReadProgHeaderTab\n");
    return true;
  }
  image->programHeaders = NewTable<ElfProgramHeader>(image->e_phnum);
  if (image->programHeaders == nullptr) {
    cursor->failure().NoteNoMemory();
    return false;
  }
  cursor->Seek(wholeFile, image->e_phoff);
  for (uint32_t i = 0; i < image->e_phnum; ++i) {
    ElfProgramHeader& header = image->programHeaders[i];
    for (uint32_t* field : {&header.p_type, &header.p_offset, &header.p_vaddr, &header.p_paddr, &header.p_filesz,
                            &header.p_memsz, &header.p_flags, &header.p_align}) {
      *field = cursor->U32();
    }
  }
  return true;
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

bool RefuseSectionTable(Failure* failure, uint32_t offset, const char* printed, const char* reason) {
  std::printf("%s\n", printed);
  return Refuse(failure, offset, "ERROR: ReadSectHeaderTab\n", reason);
}

bool ReadSectionNames(ElfImage* image, Failure* failure) {
  if (image->e_shstrndx >= image->e_shnum) {
    return RefuseSectionTable(failure, image->e_shoff, "Read String Table", "the table of section names is no section");
  }
  const ElfSectionHeader& names = image->sectionHeaders[image->e_shstrndx];
  const auto fileSize = static_cast<uint64_t>(image->file->Size());
  const uint64_t left = names.sh_offset < fileSize ? fileSize - names.sh_offset : 0;
  if (names.sh_size > left || names.sh_size == UINT32_MAX) {  // a terminator is put after them
    return RefuseSectionTable(failure, names.sh_offset, "Size error", "the section names go past the end of the file");
  }
  image->sectionNames = NewTable<char>(names.sh_size + 1);
  if (image->sectionNames == nullptr) {
    return RefuseSectionTable(failure, names.sh_offset, "Read String Table", "no memory for the section names");
  }
  image->file->ReadAt(names.sh_offset, image->sectionNames, names.sh_size);
  return true;
}

bool ReadSectionHeaders(ElfImage* image, Cursor* cursor) {
  Failure* failure = &cursor->failure();
  if (image->e_shoff == 0) {
    return RefuseSectionTable(failure, 0, "No Section Header Table", "the file has no section headers");
  }
  image->sectionHeaders = NewTable<ElfSectionHeader>(image->e_shnum);
  if (image->sectionHeaders == nullptr) {
    return RefuseSectionTable(failure, image->e_shoff, "Read Section Header Table",
                              "no memory for the section headers");
  }
  cursor->Seek(wholeFile, image->e_shoff);
  for (uint32_t i = 0; i < image->e_shnum; ++i) {
    ElfSectionHeader& header = image->sectionHeaders[i];
    for (uint32_t* field :
         {&header.sh_name, &header.sh_type, &header.sh_flags, &header.sh_addr, &header.sh_offset, &header.sh_size,
          &header.sh_link, &header.sh_info, &header.sh_addralign, &header.sh_entsize}) {
      *field = cursor->U32();
    }
  }
  return ReadSectionNames(image, failure);
}

// Reads and tests header and tables; false when the file is refused, the reason printed.
bool ReadTables(ElfImage* image, Cursor* cursor) {
  Failure* failure = &cursor->failure();
  if (image->file->Size() < 0) {
    return Refuse(failure, Failure::NO_OFFSET, "FILE ERROR\n", "not a regular file");
  }
  ReadElfHeader(image, cursor);
  if (!TestElfHeader(image)) {
    return Refuse(failure, 0, "ERROR: not ELF or illegal ELF header values\n", "no 32-bit ELF file, or a wrong header");
  }
  if (!ReadProgramHeaders(image, cursor)) {
    return false;
  }
  if (!SegmentsLieInFile(image)) {
    return Refuse(failure, image->e_phoff, "ERROR: illegal ELF header values (file corrupt?)\n",
                  "a segment goes past the end of the file");
  }
  return ReadSectionHeaders(image, cursor);
}

}  // namespace

ElfImage* ELF_Open(const char* fileName, char* fullPath, int fullPathSize, Failure* failure) {
  std::unique_ptr<ByteSource> source = OpenSource(fileName, fullPath, fullPathSize);
  if (source == nullptr) {
    failure->Note(nullptr, Failure::NO_OFFSET, "there is no such file, or it cannot be read");
    return nullptr;
  }
  return ELF_OpenSource(std::move(source), failure);
}

ElfImage* ELF_OpenSource(std::unique_ptr<ByteSource> file, Failure* failure) {
  auto* image = static_cast<ElfImage*>(std::calloc(1, sizeof(ElfImage)));
  if (image == nullptr) {
    failure->NoteNoMemory();
    return nullptr;
  }
  image->noteValue = NOTE_VALUE_DEFAULT;
  image->warnOutOfDate = 1;
  image->file = file.release();
  image->fileTime = image->file->ModificationTime();
  Allowance allowance;
  Cursor cursor(failure, &allowance);
  if (!ReadTables(image, &cursor) || !ReadNoteRecords(image, &cursor)) {
    ELF_Close(image);
    return nullptr;
  }
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
