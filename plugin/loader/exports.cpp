// The two functions through which a host finds the component.
#include "loader/exports.h"

#include <new>

#include "loader/elf_loader.h"

extern "C" unsigned long GetCompVersions(uint32_t* componentVersion) {
  *componentVersion = ELF_LOADER_VERSION;
  return COMPONENT_INTERFACE_VERSION;
}

extern "C" Component* GetComponent() {
  try {
    return new ElfLoader("ElfLoader");
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
