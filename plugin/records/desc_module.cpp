#include "records/desc_module.h"

#include <cstring>

#include "records/empty_string.h"

namespace {

constexpr uint32_t BITS_FROM_HIGH_END = 2;

struct LanguageRow {
  uint32_t attributeValue;
  uint32_t language;
};

constexpr LanguageRow languageRows[] = {
    {1, LANGUAGE_C},            // DW_LANG_C89
    {2, LANGUAGE_C},            // DW_LANG_C
    {4, LANGUAGE_CXX},          // DW_LANG_C_plus_plus
    {10, LANGUAGE_MODULA2},     // DW_LANG_Modula2
    {0x41, LANGUAGE_ASSEMBLY},  // a vendor's code
};

}  // namespace

DescModule* NewDescModule(mem_desc* tableHeap) {
  auto* module = static_cast<DescModule*>(HEAP_Get(tableHeap, sizeof(DescModule)));
  auto* ext = static_cast<DescModuleExt*>(HEAP_Get(tableHeap, sizeof(DescModuleExt)));
  if (module == nullptr || ext == nullptr) {
    return nullptr;
  }
  std::memset(module, 0, sizeof(*module));
  std::memset(ext, 0, sizeof(*ext));
  module->name = module->objectFile = module->directory = EmptyString();
  module->ext = ext;
  ext->bitNumbering = BITS_FROM_HIGH_END;
  return module;
}

uint32_t LanguageOf(uint32_t attributeValue) {
  for (const LanguageRow& row : languageRows) {
    if (row.attributeValue == attributeValue) {
      return row.language;
    }
  }
  return LANGUAGE_UNKNOWN;
}
