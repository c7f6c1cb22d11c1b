#include "json/type_index.h"

namespace elfload {

namespace {

size_t CountTypes(const DescModule* module) {
  size_t count = 0;
  for (const DescType* type = module->types; type != nullptr; type = type->next) count++;
  return count;
}

const DescModule* MergedModules(const DescModule* module) {
  return module->ext != nullptr ? module->ext->mergedModules : nullptr;
}

}  // namespace

void TypeIndex::Fill(const DescModule* module) {
  size_t count = CountTypes(module);
  for (const DescModule* merged = MergedModules(module); merged != nullptr; merged = merged->next) {
    count += CountTypes(merged);
  }
  unsigned bits = 1;
  while ((size_t{1} << bits) < 2 * count + 1) bits++;
  slots_.assign(size_t{1} << bits, Place{});
  shift_ = 64 - bits;

  Add(module->types, -1);
  int32_t number = 0;
  for (const DescModule* merged = MergedModules(module); merged != nullptr; merged = merged->next) {
    Add(merged->types, number++);
  }
}

void TypeIndex::Add(const DescType* types, int32_t merged) {
  uint32_t number = 0;
  for (const DescType* type = types; type != nullptr; type = type->next, number++) {
    size_t at = Slot(type);
    while (slots_[at].type != nullptr && slots_[at].type != type) at = (at + 1) & (slots_.size() - 1);
    if (slots_[at].type == nullptr) slots_[at] = Place{type, merged, number};
  }
}

}  // namespace elfload
