// Reaches the parts of a loader that no host sees.
#pragma once

#include "loader/elf_loader.h"

struct LoaderTestAccess {
  // Lets the loader be as it is after a line program of that opcode base.
  static void SetOpcodeBase(ElfLoader& loader, uint8_t opcodeBase);
};
