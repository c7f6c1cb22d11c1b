#include "support/loader_access.h"

#include "loader/loader_state.h"

void LoaderTestAccess::SetOpcodeBase(ElfLoader& loader, uint8_t opcodeBase) {
  loader.state_->dwarf2.SetOpcodeBase(opcodeBase);
}
