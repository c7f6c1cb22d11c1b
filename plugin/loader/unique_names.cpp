#include "loader/unique_names.h"

#include <cstdio>
#include <cstring>

#include "records/debug_records.h"

namespace {

constexpr size_t PREFIX_ROOM = 22;

// 1 when the name of a sorts before or equals the name of b.
int SortsBefore(const void* a, const void* b) {
  const auto* first = static_cast<const DescModule*>(a);
  const auto* second = static_cast<const DescModule*>(b);
  if (first == nullptr || second == nullptr || first->name == nullptr || second->name == nullptr) {
    return 0;
  }
  return std::strcmp(first->name, second->name) <= 0 ? 1 : 0;
}

bool NumberName(DescModule* module, int number) {
  const size_t size = std::strlen(module->name) + PREFIX_ROOM;
  auto* name = module->heap != nullptr ? static_cast<char*>(HEAP_Get(module->heap, size)) : nullptr;
  if (name == nullptr) {
    return false;
  }
  std::snprintf(name, size, "%d:%s", number, module->name);
  module->name = name;
  return true;
}

}  // namespace

bool MakeUnique(DescModule* modules) {
  L_list* list = L_Create(nullptr);
  bool isWhole = list != nullptr;
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    isWhole = isWhole && L_InsertData(list, L_SORTED, SortsBefore, module) != 0;
  }
  int number = 0;
  auto* module = static_cast<DescModule*>(L_First(list));
  while (module != nullptr) {
    auto* following = static_cast<DescModule*>(L_Next(list));
    const bool again = following != nullptr && std::strcmp(module->name, following->name) == 0;
    if (again || number != 0) {
      isWhole = NumberName(module, ++number) && isWhole;
    }
    if (!again) {
      number = 0;
    }
    module = following;
  }
  L_FreeList(&list, L_Nop);
  return isWhole;
}
