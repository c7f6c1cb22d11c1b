#include "session/elf_tables.h"

#include <fmt/format.h>

#if defined(ELFLOAD_HAVE_LIBELF)
#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <unistd.h>
#endif

namespace elfload {

namespace {

struct TypeRow {
  uint32_t type;
  const char* name;
};

constexpr TypeRow segmentTypes[] = {
    {0, "NULL"}, {1, "LOAD"}, {2, "DYNAMIC"}, {3, "INTERP"}, {4, "NOTE"}, {5, "SHLIB"}, {6, "PHDR"}, {7, "TLS"},
};

constexpr TypeRow sectionTypes[] = {
    {0, "NULL"},    {1, "PROGBITS"}, {2, "SYMTAB"}, {3, "STRTAB"}, {4, "RELA"},   {5, "HASH"},
    {6, "DYNAMIC"}, {7, "NOTE"},     {8, "NOBITS"}, {9, "REL"},    {10, "SHLIB"}, {11, "DYNSYM"},
};

template <size_t size>
std::string FindName(const TypeRow (&rows)[size], uint32_t type) {
  for (const TypeRow& row : rows) {
    if (row.type == type) return row.name;
  }
  return fmt::format("0x{:X}", type);
}

#if defined(ELFLOAD_HAVE_LIBELF)

void ReadSegments(Elf* elf, ElfTables& tables) {
  size_t count = 0;
  if (elf_getphdrnum(elf, &count) != 0) return;
  const Elf32_Phdr* headers = elf32_getphdr(elf);
  for (size_t i = 0; headers != nullptr && i < count; i++) {
    const Elf32_Phdr& header = headers[i];
    tables.segments.push_back({header.p_type, header.p_offset, header.p_vaddr, header.p_paddr, header.p_filesz,
                               header.p_memsz, header.p_flags, header.p_align});
  }
}

void ReadSections(Elf* elf, ElfTables& tables) {
  size_t names = 0;
  if (elf_getshdrstrndx(elf, &names) != 0) return;
  for (Elf_Scn* section = elf_nextscn(elf, nullptr); section != nullptr; section = elf_nextscn(elf, section)) {
    const Elf32_Shdr* header = elf32_getshdr(section);
    if (header == nullptr) continue;
    const char* name = elf_strptr(elf, names, header->sh_name);
    tables.sections.push_back({name != nullptr ? name : "", header->sh_type, header->sh_flags, header->sh_addr,
                               header->sh_offset, header->sh_size});
  }
}

#endif

}  // namespace

std::string SegmentTypeName(uint32_t type) {
  return FindName(segmentTypes, type);
}

std::string SectionTypeName(uint32_t type) {
  return FindName(sectionTypes, type);
}

#if defined(ELFLOAD_HAVE_LIBELF)

ElfTables ReadElfTables(const std::string& path) {
  ElfTables tables;
  elf_version(EV_CURRENT);
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    tables.missing = "the file cannot be read again";
    return tables;
  }
  Elf* elf = elf_begin(file, ELF_C_READ, nullptr);
  if (elf != nullptr && elf_kind(elf) == ELF_K_ELF && gelf_getclass(elf) == ELFCLASS32) {
    ReadSegments(elf, tables);
    ReadSections(elf, tables);
  } else {
    const char* reason = elf_errmsg(-1);
    tables.missing = fmt::format("libelf does not read this file{}{}", reason ? ": " : "", reason ? reason : "");
  }
  elf_end(elf);
  close(file);
  return tables;
}

#else

ElfTables ReadElfTables(const std::string&) {
  ElfTables tables;
  tables.missing = "this build has no libelf";
  return tables;
}

#endif

}  // namespace elfload
