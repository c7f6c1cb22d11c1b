#include "dwarf/unit_facts.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "records/debug_records.h"

namespace {

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

constexpr const char* lowEndProducers[] = {"TARNIX", "QUILLFORGE"};

}  // namespace

uint32_t LanguageOf(uint32_t attributeValue) {
  for (const LanguageRow& row : languageRows) {
    if (row.attributeValue == attributeValue) {
      return row.language;
    }
  }
  return LANGUAGE_UNKNOWN;
}

bool NumbersBitsFromLowEnd(const char* producer) {
  return std::any_of(std::begin(lowEndProducers), std::end(lowEndProducers),
                     [producer](const char* lowEnd) { return std::strcmp(producer, lowEnd) == 0; });
}
