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

// Languages whose arrays begin at 1; those of all others begin at 0.
constexpr uint32_t languagesFromOne[] = {
    0x03,  // DW_LANG_Ada83
    0x05,  // DW_LANG_Cobol74
    0x06,  // DW_LANG_Cobol85
    0x07,  // DW_LANG_Fortran77
    0x08,  // DW_LANG_Fortran90
    0x09,  // DW_LANG_Pascal83
    0x0A,  // DW_LANG_Modula2
    0x0D,  // DW_LANG_Ada95
    0x0E,  // DW_LANG_Fortran95
    0x0F,  // DW_LANG_PLI
    0x17,  // DW_LANG_Modula3
    0x1F,  // DW_LANG_Julia
    0x22,  // DW_LANG_Fortran03
    0x23,  // DW_LANG_Fortran08
    0x2D,  // DW_LANG_Fortran18
    0x2E,  // DW_LANG_Ada2005
    0x2F,  // DW_LANG_Ada2012
};

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

int32_t LowestIndexOf(uint32_t attributeValue) {
  const auto* end = std::end(languagesFromOne);
  return std::find(std::begin(languagesFromOne), end, attributeValue) != end ? 1 : 0;
}

bool NumbersBitsFromLowEnd(const char* producer) {
  return std::any_of(std::begin(lowEndProducers), std::end(lowEndProducers),
                     [producer](const char* lowEnd) { return std::strcmp(producer, lowEnd) == 0; });
}
