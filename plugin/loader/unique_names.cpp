#include "loader/unique_names.h"

#include <cstdio>
#include <cstring>

#include "records/debug_records.h"

namespace {

constexpr size_t PREFIX_ROOM = 22;

// 1 when the name of `a` sorts before the name of `b` or equals it.
int SortsBefore(const void* a, const void* b) {
  return std::strcmp(static_cast<const DescModule*>(a)->name, static_cast<const DescModule*>(b)->name) <= 0 ? 1 : 0;
}

void NumberName(DescModule* module, int number, Allowance* allowance) {
  const size_t size = std::strlen(module->name) + PREFIX_ROOM;
  if (module->heap == nullptr || !allowance->TakeMemory(size)) {
    return;
  }
  auto* name = static_cast<char*>(HEAP_Get(module->heap, size));
  if (name != nullptr) {
    std::snprintf(name, size, "%d:%s", number, module->name);
    module->name = name;
  }
}

}  // namespace

void MakeUnique(DescModule* modules, Allowance* allowance) {
  L_list* list = L_Create(nullptr);
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    L_InsertData(list, L_SORTED, SortsBefore, module);  // without memory the module keeps its name
  }
  int number = 0;
  auto* module = static_cast<DescModule*>(L_First(list));
  while (module != nullptr) {
    auto* following = static_cast<DescModule*>(L_Next(list));
    const bool again = following != nullptr && std::strcmp(module->name, following->name) == 0;
    if (again || number != 0) {
      NumberName(module, ++number, allowance);
    }
    if (!again) {
      number = 0;
    }
    module = following;
  }
  L_FreeList(&list, L_Nop);
}
