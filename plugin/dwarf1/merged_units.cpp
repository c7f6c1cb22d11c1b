#include "dwarf1/merged_units.h"

#include <cstring>

#include "dwarf1/memory.h"
#include "dwarf1/types.h"
#include "records/debug_records.h"

namespace dwarf1 {
namespace {

bool IsSameSource(const DescModule* a, const DescModule* b) {
  return std::strcmp(a->directory, b->directory) == 0 && std::strcmp(a->name, b->name) == 0;
}

void MovePendingList(L_list** survivor, L_list** folded) {
  if (*survivor == nullptr) {
    *survivor = *folded;
    *folded = nullptr;
  } else if (*folded != nullptr) {
    if (L_AddList(*survivor, *folded) == 0) {
      throw std::bad_alloc();
    }
    L_FreeList(folded, L_Nop);
  }
}

void MovePendingRecords(DescModule* survivor, DescModule* folded) {
  MovePendingList(&survivor->ext->pendingArrays, &folded->ext->pendingArrays);
  MovePendingList(&survivor->ext->pendingFields, &folded->ext->pendingFields);
}

// A merged module is found by the index or by its contents, not by a range.
void FoldModule(DescModule* survivor, DescModule* folded) {
  survivor->lowPc = 0;
  survivor->highPc = 0;
  survivor->hasRange = 0;
  MovePendingRecords(survivor, folded);
}

void CopyDefinition(DescType* placeholder, const DescType& definition) {
  DescType* next = placeholder->next;
  *placeholder = definition;
  placeholder->next = next;
}

// Where one of two records of a key is a placeholder it takes over the other. The survivor's types are the ones that
// were read last, so the index finds them.
void ResolveMergedTypes(DescModule* survivor, DescModule* folded) {
  for (DescType* type = survivor->types != nullptr ? folded->types : nullptr; type != nullptr; type = type->next) {
    DescType* twin = type->key != NO_KEY ? FindType(type->key) : nullptr;
    if (twin == nullptr) {
      continue;
    }
    if (IsPlaceholder(*twin)) {
      CopyDefinition(twin, *type);
    } else if (IsPlaceholder(*type)) {
      CopyDefinition(type, *twin);
    }
  }
}

}  // namespace

void MergeAdjacentUnits(DescModule* modules) {
  if (modules == nullptr) {
    return;
  }
  for (DescModule* module = modules; module->next != nullptr;) {
    DescModule* successor = module->next;
    const bool isNamed = module->directory[0] != 0 || module->name[0] != 0;
    if (!isNamed || !IsSameSource(module, successor)) {
      module = successor;
      continue;
    }
    module->next = successor->next;
    successor->next = module->ext->mergedModules;
    module->ext->mergedModules = successor;
    FoldModule(module, successor);
  }
}

void TakeOverFoldedUnits(DescModule* module) {
  if (module->ext->mergedModules == nullptr) {
    return;
  }
  ListEnd<DescProc> procs(&module->procs);
  ListEnd<DescVar> vars(&module->vars);
  ListEnd<DescLineBlock> lineBlocks(&module->lineBlocks);
  ListEnd<DescFile> files(&module->files);
  for (DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
    procs.TakeOver(&folded->procs);
    vars.TakeOver(&folded->vars);
    lineBlocks.TakeOver(&folded->lineBlocks);
    files.TakeOver(&folded->files);
    MovePendingRecords(module, folded);
    ResolveMergedTypes(module, folded);
  }
}

}  // namespace dwarf1
