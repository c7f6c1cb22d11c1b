#include "dwarf2/reader_state.h"

#include <cstdarg>
#include <cstdio>

Dwarf2ReaderState dwarf2State;

void LoadDwarf2Sections(ElfImage* image) {
  dwarf2State.work = &image->file->Work();
  dwarf2State.sections = {
      .info = ELF_FindSection(image, ".debug_info"),
      .abbrev = ELF_FindSection(image, ".debug_abbrev"),
      .line = ELF_FindSection(image, ".debug_line"),
      .loc = ELF_FindSection(image, ".debug_loc"),
      .str = ELF_FindSection(image, ".debug_str"),
      .frame = ELF_FindSection(image, ".debug_frame"),
      .pubnames = ELF_FindSection(image, ".debug_pubnames"),
      .aranges = ELF_FindSection(image, ".debug_aranges"),
  };
}

void ClearFailure() {
  dwarf2State.failed = 0;
  dwarf2State.failure[0] = 0;
  dwarf2State.failurePosition = 0;
}

void Fail(const char* format, ...) {
  if (dwarf2State.failed != 0) {
    return;
  }
  dwarf2State.failed = 1;
  dwarf2State.failurePosition = dwarf2State.position;
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(dwarf2State.failure, sizeof(dwarf2State.failure), format, arguments);
  va_end(arguments);
}
