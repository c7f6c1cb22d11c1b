#include "dwarf1/merged_units.h"

#include <cstring>

#include "records/debug_records.h"

namespace dwarf1 {
namespace {

bool IsSameSource(const DescModule* a, const DescModule* b) {
  return std::strcmp(a->directory, b->directory) == 0 && std::strcmp(a->name, b->name) == 0;
}

// Appends a list to the one that `*end` is in.
template <typename Record>
void Move(Record** list, Record*** end) {
  while (**end != nullptr) {
    *end = &(**end)->next;
  }
  **end = *list;
  *list = nullptr;
}

void MovePending(L_list** folded, L_list** survivor, Failure* failure) {
  if (*survivor == nullptr) {
    *survivor = *folded;
    *folded = nullptr;
  } else if (*folded != nullptr) {
    if (L_AddList(*survivor, *folded) == 0) {
      failure->NoteNoMemory();
    }
    L_FreeList(folded, L_Nop);
  }
}

// A type that no entry defined.
bool IsPlaceholder(const DescType& type) {
  return type.key != NO_KEY && type.kind == KIND_BASIC && type.target.word == 0 && type.byteSize == 0 &&
         type.name == UNDEFINED_TYPE;
}

void CopyDefinition(DescType* placeholder, const DescType& definition) {
  DescType* next = placeholder->next;
  *placeholder = definition;
  placeholder->next = next;
}

// Where one of two records of a key is a placeholder it takes over the other.
void ResolveTypes(const TypeTable& survivors, DescType* folded) {
  for (DescType* type = folded; type != nullptr; type = type->next) {
    DescType* twin = type->key != NO_KEY ? survivors.Find(type->key) : nullptr;
    if (twin != nullptr && IsPlaceholder(*twin)) {
      CopyDefinition(twin, *type);
    } else if (twin != nullptr && IsPlaceholder(*type)) {
      CopyDefinition(type, *twin);
    }
  }
}

}  // namespace

void MergeAdjacentUnits(DescModule* modules) {
  DescModule* module = modules;
  while (module != nullptr) {
    DescModule* successor = module->next;
    if (successor == nullptr) {
      break;
    }
    const bool isNamed = module->directory[0] != 0 || module->name[0] != 0;
    if (!isNamed || !IsSameSource(module, successor)) {
      module = successor;
      continue;
    }
    module->next = successor->next;
    successor->next = module->ext->mergedModules;
    module->ext->mergedModules = successor;
    module->lowPc = module->highPc = module->hasRange = 0;
  }
}

void TakeOverFoldedUnits(DescModule* module, const TypeTable& types, Failure* failure) {
  DescProc** procs = &module->procs;
  DescVar** vars = &module->vars;
  DescLineBlock** lineBlocks = &module->lineBlocks;
  DescFile** files = &module->files;
  for (DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
    Move(&folded->procs, &procs);
    Move(&folded->vars, &vars);
    Move(&folded->lineBlocks, &lineBlocks);
    Move(&folded->files, &files);
    MovePending(&folded->ext->pendingArrays, &module->ext->pendingArrays, failure);
    MovePending(&folded->ext->pendingFields, &module->ext->pendingFields, failure);
    ResolveTypes(types, folded->types);
  }
}

}  // namespace dwarf1
