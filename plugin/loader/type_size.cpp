#include "loader/type_size.h"

#include "loader/debug_records.h"

namespace {

// Longer chains of typedefs or nested arrays than any file has on purpose.
constexpr uint32_t MAX_TYPE_DEPTH = 1000;

// The type behind typedefs and qualifiers, null when the chain ends or runs in a circle.
const DescType* Unqualified(const DescType* type) {
  for (uint32_t depth = 0; depth < MAX_TYPE_DEPTH; ++depth) {
    if (type == nullptr || (type->kind != KIND_TYPEDEF && type->kind != KIND_CONST && type->kind != KIND_VOLATILE)) {
      return type;
    }
    type = type->target.type;
  }
  return nullptr;
}

uint32_t ElementCount(const DescDimension* dimensions) {
  uint32_t count = dimensions != nullptr ? 1 : 0;
  for (; dimensions != nullptr; dimensions = dimensions->next) {
    count *= static_cast<uint32_t>(dimensions->high) - static_cast<uint32_t>(dimensions->low) + 1;
  }
  return count;
}

}  // namespace

int32_t TypeSize(const DescType* type) {
  uint32_t count = 1;
  for (uint32_t depth = 0; depth < MAX_TYPE_DEPTH; ++depth) {
    type = Unqualified(type);
    if (type == nullptr) {
      return 0;
    }
    if (type->kind != KIND_ARRAY || type->byteSize > 0) {
      return static_cast<int32_t>(count * static_cast<uint32_t>(type->byteSize));
    }
    count *= ElementCount(type->items.dimensions);
    if (type->byteSize < 0) {
      return static_cast<int32_t>(count * (0U - static_cast<uint32_t>(type->byteSize)));
    }
    type = type->element.type;
  }
  return 0;
}

void SettleArray(DescType* type) {
  // Innermost first: the nested arrays on the way in, then their sizes on the way out.
  DescType* nested[MAX_TYPE_DEPTH];
  uint32_t depth = 0;
  while (type != nullptr && type->kind == KIND_ARRAY && depth < MAX_TYPE_DEPTH) {
    nested[depth++] = type;
    type = type->element.type;
  }
  while (depth != 0) {
    DescType* array = nested[--depth];
    if (array->byteSize == 0) {
      array->byteSize = TypeSize(array);
    }
  }
}
