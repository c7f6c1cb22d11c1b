// What a unit's own entry says in codes and words that both formats share: language and producer.
#pragma once

#include <cstdint>

// The DescLanguage of a language attribute's value (AT_language and DW_AT_language share their codes).
uint32_t LanguageOf(uint32_t attributeValue);

// The same with the languages that later versions have.
uint32_t PublishedLanguageOf(uint32_t attributeValue);

// The lower bound of an array that says none, by the same value: 0 or 1.
int32_t LowestIndexOf(uint32_t attributeValue);

// Whether a producer counts bit offsets from the low end of the storage unit. The whole text is compared.
bool NumbersBitsFromLowEnd(const char* producer);

constexpr uint32_t BITS_FROM_LOW_END = 1;  // DescModuleExt.bitNumbering of such a producer
