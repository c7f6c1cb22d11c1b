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

// Beside the rows above.
constexpr LanguageRow laterLanguageRows[] = {
    {0x0C, LANGUAGE_C},           // DW_LANG_C99
    {0x10, LANGUAGE_C},           // DW_LANG_ObjC
    {0x12, LANGUAGE_C},           // DW_LANG_UPC
    {0x19, LANGUAGE_CXX},         // DW_LANG_C_plus_plus_03
    {0x1A, LANGUAGE_CXX},         // DW_LANG_C_plus_plus_11
    {0x1D, LANGUAGE_C},           // DW_LANG_C11
    {0x21, LANGUAGE_CXX},         // DW_LANG_C_plus_plus_14
    {0x2A, LANGUAGE_CXX},         // DW_LANG_C_plus_plus_17
    {0x2B, LANGUAGE_CXX},         // DW_LANG_C_plus_plus_20
    {0x2C, LANGUAGE_C},           // DW_LANG_C17
    {0x8001, LANGUAGE_ASSEMBLY},  // DW_LANG_Mips_Assembler
};

uint32_t FindLanguage(const LanguageRow* first, const LanguageRow* last, uint32_t attributeValue) {
  const LanguageRow* row =
      std::find_if(first, last, [=](const LanguageRow& other) { return other.attributeValue == attributeValue; });
  return row != last ? row->language : LANGUAGE_UNKNOWN;
}

constexpr const char* lowEndProducers[] = {"TARNIX", "QUILLFORGE"};

}  // namespace

uint32_t LanguageOf(uint32_t attributeValue) {
  return FindLanguage(std::begin(languageRows), std::end(languageRows), attributeValue);
}

uint32_t PublishedLanguageOf(uint32_t attributeValue) {
  const uint32_t language = LanguageOf(attributeValue);
  return language != LANGUAGE_UNKNOWN
             ? language
             : FindLanguage(std::begin(laterLanguageRows), std::end(laterLanguageRows), attributeValue);
}

bool NumbersBitsFromLowEnd(const char* producer) {
  return std::any_of(std::begin(lowEndProducers), std::end(lowEndProducers),
                     [producer](const char* lowEnd) { return std::strcmp(producer, lowEnd) == 0; });
}
