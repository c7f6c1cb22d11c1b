// Module records as both readers make them, and the mapping that both use for the unit's language.
#pragma once

#include <cstdint>

#include "records/debug_records.h"

// A record in `tableHeap`, cleared, its strings the shared empty string, with its DescModuleExt. Null without memory.
DescModule* NewDescModule(mem_desc* tableHeap);

// The DescLanguage of a language attribute's value (AT_language and DW_AT_language share their codes).
uint32_t LanguageOf(uint32_t attributeValue);
