#include "dwarf1/dwarf1_build.h"

#include <cstring>
#include <iterator>

#include "records/type_table.h"

namespace {

struct BasicTypeRow {
  const char* name;
  int32_t byteSize;
  DescEncoding encoding;
};

constexpr int32_t INT_SIZE = -1;  // the processor's

// Row number is the FT_ code.
constexpr BasicTypeRow basicTypeRows[] = {
    {"???", 0, ENCODING_NONE},
    {"char", 1, ENCODING_SIGNED_CHAR},
    {"signed char", 1, ENCODING_SIGNED_CHAR},
    {"unsigned char", 1, ENCODING_UNSIGNED_CHAR},
    {"short", 2, ENCODING_SIGNED},
    {"signed short", 2, ENCODING_SIGNED},
    {"unsigned short", 2, ENCODING_UNSIGNED},
    {"int", INT_SIZE, ENCODING_SIGNED},
    {"signed int", INT_SIZE, ENCODING_SIGNED},
    {"unsigned int", INT_SIZE, ENCODING_UNSIGNED},
    {"long", 4, ENCODING_SIGNED},
    {"signed long", 4, ENCODING_SIGNED},
    {"unsigned long", 4, ENCODING_UNSIGNED},
    {"void *", 4, ENCODING_ADDRESS},
    {"float", 4, ENCODING_FLOAT},
    {"double", 8, ENCODING_FLOAT},
    {"long double", 16, ENCODING_FLOAT},
    {"complex", 8, ENCODING_COMPLEX},
    {"double complex", 16, ENCODING_COMPLEX},
    {nullptr, 0, ENCODING_NONE},  // 0x13 is no code: row 0
    {"void", 0, ENCODING_NONE},
    {"boolean", 2, ENCODING_BOOLEAN},
    {"long double complex", 32, ENCODING_COMPLEX},
    {"label", 0, ENCODING_NONE},
};
static_assert(std::size(basicTypeRows) == FT_COUNT);

struct TypedefRow {
  const char* name;
  Dwarf1FundType first;
  Dwarf1FundType last;
};

constexpr TypedefRow typedefRows[] = {
    {"char", FT_char, FT_unsigned_char},
    {"short", FT_short, FT_unsigned_short},
    {"int", FT_integer, FT_unsigned_integer},
    {"long", FT_long, FT_unsigned_long},
    {"float", FT_float, FT_float},
    {"double", FT_dbl_prec_float, FT_dbl_prec_float},
    {"long double", FT_ext_prec_float, FT_ext_prec_float},
};

}  // namespace

void Dwarf1Build::ApplyTypedefSize(const char* name, int32_t byteSize) {
  for (const TypedefRow& row : typedefRows) {
    if (std::strcmp(name, row.name) == 0) {
      for (uint32_t code = row.first; code <= row.last; ++code) {
        basicTypes[code]->byteSize = byteSize;
      }
    }
  }
}

Dwarf1Build* NewDwarf1Build(RecordHeap* tableHeap, int32_t intSize) {
  auto* build = tableHeap->New<Dwarf1Build>();
  DescType* undefined = NewSharedType(tableHeap, UNDEFINED_TYPE);
  if (build == nullptr || undefined == nullptr) {
    return nullptr;
  }
  for (uint32_t code = 0; code < FT_COUNT; ++code) {
    const BasicTypeRow& row = basicTypeRows[code];
    DescType* type = row.name != nullptr ? NewSharedType(tableHeap, row.name) : build->basicTypes[0];
    if (type == nullptr) {
      return nullptr;
    }
    type->byteSize = row.byteSize == INT_SIZE ? intSize : row.byteSize;
    type->items.encoding = row.encoding;
    build->basicTypes[code] = type;
  }
  build->undefinedType = undefined;
  build->voidType = build->basicTypes[FT_void];
  return build;
}
