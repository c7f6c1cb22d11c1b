// The finders: which module holds a name or an address, filling as few modules as the indexes allow.
#include <cstring>

#include "elf/section_access.h"
#include "loader/debug_records.h"
#include "loader/elf_loader.h"

namespace {

constexpr uint8_t OPERATION_ADDRESS = 3;  // DW_OP_addr and OP_ADDR

bool LooksAtCode(FindKind kind) {
  return kind == FIND_ALL || kind == FIND_CODE;
}

bool LooksAtData(FindKind kind) {
  return kind == FIND_ALL || kind == FIND_DATA;
}

bool IsIndexed(const DescGlobalName* names, const char* name) {
  for (; names != nullptr; names = names->next) {
    if (std::strcmp(names->name, name) == 0) {
      return true;
    }
  }
  return false;
}

bool HoldsName(const DescModule* module, const char* name, FindKind kind) {
  for (const DescProc* proc = LooksAtCode(kind) ? module->procs : nullptr; proc != nullptr; proc = proc->next) {
    if (std::strcmp(proc->name, name) == 0) {
      return true;
    }
  }
  for (const DescVar* variable = LooksAtData(kind) ? module->vars : nullptr; variable != nullptr;
       variable = variable->next) {
    if (std::strcmp(variable->name, name) == 0) {
      return true;
    }
  }
  return false;
}

bool IsInRanges(const DescAddrRange* ranges, uint32_t address) {
  for (; ranges != nullptr; ranges = ranges->next) {
    if (ranges->low <= address && address <= ranges->high) {
      return true;
    }
  }
  return false;
}

// Whether the variable lies at a fixed address and takes the one asked for.
bool CoversAddress(const ElfImage* image, const DescVar* variable, uint32_t address) {
  const DescLocation* location = variable->location;
  if (location == nullptr || location->expression == nullptr || location->expression[0] != OPERATION_ADDRESS) {
    return false;
  }
  const uint8_t* bytes = location->expression + 1;
  uint32_t start = 0;
  for (uint32_t i = 0; i < 4; ++i) {
    start |= static_cast<uint32_t>(bytes[i]) << 8 * (ELF_IsLittleEndian(image) != 0 ? i : 3 - i);
  }
  return variable->byteSize > 0 && start <= address && address - start < static_cast<uint32_t>(variable->byteSize);
}

bool HoldsAddress(const ElfImage* image, const DescModule* module, uint32_t address, FindKind kind) {
  for (const DescProc* proc = LooksAtCode(kind) ? module->procs : nullptr; proc != nullptr; proc = proc->next) {
    if (proc->lowPc <= address && address < proc->highPc) {
      return true;
    }
  }
  for (const DescVar* variable = LooksAtData(kind) ? module->vars : nullptr; variable != nullptr;
       variable = variable->next) {
    if (CoversAddress(image, variable, address)) {
      return true;
    }
  }
  return false;
}

}  // namespace

// A module with an index of names is decided by it, whatever the kind; one without is filled and searched.
int ElfLoader::FindModuleFromName(DescModule* first, const char* name, DescModule** found, FindKind kind) {
  for (DescModule* module = first; module != nullptr; module = module->next) {
    const DescGlobalName* index = module->ext->globalNames;
    if (index != nullptr && !IsIndexed(index, name)) {
      continue;
    }
    Extend(module, SYM_LOAD_ALL);
    if (index != nullptr || HoldsName(module, name, kind)) {
      *found = module;
      return 1;
    }
  }
  return 0;
}

// A module with a range of its own is decided by it where code is asked for, one with an index of ranges by that; any
// other is filled and searched.
int ElfLoader::FindModuleFromAdr(DescModule* first, Address address, DescModule** found, FindKind kind) {
  const uint32_t wanted = address.offset;
  for (DescModule* module = first; module != nullptr; module = module->next) {
    const bool byRange = module->hasRange != 0 && LooksAtCode(kind);
    const DescAddrRange* index = module->ext->addrRanges;
    if (byRange ? wanted < module->lowPc || wanted >= module->highPc : index != nullptr && !IsInRanges(index, wanted)) {
      continue;
    }
    Extend(module, SYM_LOAD_ALL);
    if (byRange || index != nullptr || HoldsAddress(image, module, wanted, kind)) {
      *found = module;
      return 1;
    }
  }
  return 0;
}
