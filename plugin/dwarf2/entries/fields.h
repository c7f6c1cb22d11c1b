// Fields of records, and the codes of the format that they take, for the plans of both sets of rules.
#pragma once

#include <iterator>

#include "dwarf2/plan.h"
#include "records/debug_records.h"

constexpr int32_t BITS_PER_BYTE = 8;
constexpr uint32_t ADDRESS_CLASS_FLAGGED = 1;  // the one DW_AT_address_class that leaves a trace

template <typename Field>  // NOLINTNEXTLINE(readability-non-const-parameter): the field is written
Field& FieldAt(char* record, const Step& step) {
  return *reinterpret_cast<Field*>(record + step.field);
}

// DescEncoding by DW_ATE_ value.
inline constexpr uint32_t encodingRows[] = {
    ENCODING_NONE,           // 0
    ENCODING_ADDRESS,        // DW_ATE_address
    ENCODING_BOOLEAN,        // DW_ATE_boolean
    ENCODING_COMPLEX,        // DW_ATE_complex_float
    ENCODING_FLOAT,          // DW_ATE_float
    ENCODING_SIGNED,         // DW_ATE_signed
    ENCODING_SIGNED_CHAR,    // DW_ATE_signed_char
    ENCODING_UNSIGNED,       // DW_ATE_unsigned
    ENCODING_UNSIGNED_CHAR,  // DW_ATE_unsigned_char
};
static_assert(std::size(encodingRows) == DW_ATE_unsigned_char + 1);

// Other values leave the encoding as it is.
inline uint32_t EncodingOf(uint32_t value, uint32_t before) {
  return value != 0 && value < std::size(encodingRows) ? encodingRows[value] : before;
}

// The encodings that came after DWARF 2, and vendors', as the nearest of ours.
struct EncodingRow {
  uint32_t value;  // DW_ATE_
  uint32_t encoding;
};
inline constexpr EncodingRow laterEncodingRows[] = {
    {DW_ATE_imaginary_float, ENCODING_FLOAT},
    {DW_ATE_packed_decimal, ENCODING_UNSIGNED},
    {DW_ATE_numeric_string, ENCODING_UNSIGNED_CHAR},
    {DW_ATE_edited, ENCODING_UNSIGNED_CHAR},
    {DW_ATE_signed_fixed, ENCODING_SIGNED},
    {DW_ATE_unsigned_fixed, ENCODING_UNSIGNED},
    {DW_ATE_decimal_float, ENCODING_FLOAT},
    {DW_ATE_UTF, ENCODING_UNSIGNED_CHAR},
    {DW_ATE_UCS, ENCODING_UNSIGNED_CHAR},
    {DW_ATE_ASCII, ENCODING_UNSIGNED_CHAR},
    {DW_ATE_HP_float80, ENCODING_FLOAT},
    {DW_ATE_HP_complex_float80, ENCODING_COMPLEX},
    {DW_ATE_HP_float128, ENCODING_FLOAT},
    {DW_ATE_HP_complex_float128, ENCODING_COMPLEX},
    {DW_ATE_HP_floathpintel, ENCODING_FLOAT},
    {DW_ATE_HP_imaginary_float80, ENCODING_FLOAT},
    {DW_ATE_HP_imaginary_float128, ENCODING_FLOAT},
};

// The same for the encodings of all versions.
inline uint32_t PublishedEncodingOf(uint32_t value, uint32_t before) {
  for (const EncodingRow& row : laterEncodingRows) {
    if (row.value == value) {
      return row.encoding;
    }
  }
  return EncodingOf(value, before);
}

inline uint32_t CallKindOf(uint32_t callingConvention, uint32_t before) {
  switch (callingConvention & 0xFF) {
    case DW_CC_normal:
      return CALL_NORMAL;
    case DW_CC_nocall:
      return CALL_NOCALL;
    case DW_CC_lo_user:
      return CALL_VENDOR;
    default:
      return before;
  }
}
