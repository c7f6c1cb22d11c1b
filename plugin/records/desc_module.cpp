#include "records/desc_module.h"

namespace {

constexpr uint32_t BITS_FROM_HIGH_END = 2;

}  // namespace

DescModule* NewDescModule(RecordHeap* tableHeap, BuildRecords* build, ReaderModuleExt* ext) {
  auto* module = tableHeap->New<DescModule>();
  if (module == nullptr || ext == nullptr) {
    return nullptr;
  }
  module->name = module->objectFile = module->directory = EmptyString();
  module->ext = ext;
  ext->bitNumbering = BITS_FROM_HIGH_END;
  ext->build = build;
  return module;
}

DescType* NewSharedType(RecordHeap* tableHeap, const char* name) {
  auto* type = tableHeap->New<DescType>();
  if (type != nullptr) {
    type->name = FixedWord(name);
  }
  return type;
}

void ReleaseModuleHeaps(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    module->heap = HEAP_Release(module->heap);
  }
}
