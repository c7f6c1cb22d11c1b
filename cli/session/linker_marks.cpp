#include "session/linker_marks.h"

#include <algorithm>

#include "session/elf_tables.h"

namespace elfload {

LinkerMarks::LinkerMarks(const std::string& path) {
  const ElfTables tables = ReadElfTables(path);
  if (!tables.missing.empty()) return;
  const auto isHeld = [&tables](uint32_t address) {
    return std::any_of(tables.segments.begin(), tables.segments.end(), [address](const ElfSegment& segment) {
      const uint32_t start = segment.vaddr != 0 ? segment.vaddr : segment.paddr;
      return segment.type == SEGMENT_LOAD && address - start < segment.memsz;
    });
  };
  for (uint32_t i = 0; i < 2; i++) {
    isMark_[i] = !isHeld(i);
    isLastMark_[i] = !isHeld(UINT32_MAX - i);
  }
}

}  // namespace elfload
