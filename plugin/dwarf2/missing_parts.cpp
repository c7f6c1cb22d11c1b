#include "dwarf2/missing_parts.h"

#include <cstring>

#include "elf/sections.h"

namespace {

constexpr uint32_t SHF_COMPRESSED = 0x800;
constexpr char ALTERNATE_LINK[] = ".gnu_debugaltlink";  // the name of the file, terminated, and its build id
constexpr char SUPPLEMENTARY[] = ".debug_sup";          // version 2, is_supplementary 1, the name of the file
constexpr uint32_t SUPPLEMENTARY_NAME = 3;

void NoteOtherFile(const ElfImage* image, const char* section, uint32_t nameOffset, Failure* failure) {
  const ElfSectionHeader* header = ELF_FindSection(image, section);
  if (header == nullptr || header->sh_size <= nameOffset) {
    return;
  }
  char bytes[SUPPLEMENTARY_NAME + 80] = {};
  const uint32_t wanted = header->sh_size < sizeof(bytes) - 1 ? header->sh_size : uint32_t{sizeof(bytes) - 1};
  image->file->ReadAt(header->sh_offset, bytes, wanted);
  const bool isSupplement = nameOffset != 0 && bytes[2] != 0;  // this file is the other one itself
  if (!isSupplement) {
    failure->Note(section, 0, "names and types that are in %s are left out", bytes + nameOffset);
  }
}

}  // namespace

bool NoteMissingParts(const ElfImage* image, Dwarf2Sections* sections, Failure* failure) {
  SectionPlace* const places[] = {&sections->info,       &sections->abbrev,  &sections->line,       &sections->loc,
                                  &sections->str,        &sections->frame,   &sections->pubnames,   &sections->aranges,
                                  &sections->types,      &sections->lineStr, &sections->strOffsets, &sections->addr,
                                  &sections->loclists,   &sections->ranges,  &sections->rnglists,   &sections->names,
                                  &sections->gnuPubnames};
  bool isReadable = true;
  for (SectionPlace* place : places) {
    const ElfSectionHeader* header = ELF_FindSection(image, place->name);
    if (header == nullptr || (header->sh_flags & SHF_COMPRESSED) == 0) {
      continue;
    }
    failure->Note(place->name, 0, "the section is compressed; decompress it: objcopy --decompress-debug-sections");
    isReadable = isReadable && place != &sections->info && place != &sections->abbrev;
    *place = {place->name, 0, 0, false};
  }
  NoteOtherFile(image, ALTERNATE_LINK, 0, failure);
  NoteOtherFile(image, SUPPLEMENTARY, SUPPLEMENTARY_NAME, failure);
  return isReadable;
}
