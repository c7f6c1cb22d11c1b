#include "dwarf1/enumerations.h"

#include "dwarf1/memory.h"
#include "dwarf1/text.h"
#include "dwarf1/types.h"

namespace dwarf1 {
namespace {

// A 4-byte length, then pairs of a 4-byte value and a name. The list runs against the order of the file.
uint32_t ReadElementList(mem_desc* heap, DescType* type) {
  const uint32_t length = ReadU32();
  type->target.count = 0;
  type->items.enumerators = nullptr;
  for (int64_t left = static_cast<int32_t>(length); left > 0;) {
    if (IsEndOfFile()) {
      Fail("element list without end");
      break;
    }
    auto* enumerator = NewRecord<DescEnumerator>(heap);
    enumerator->value = static_cast<int32_t>(ReadU32());
    left -= 4 + ReadName(heap, &enumerator->name);
    enumerator->next = type->items.enumerators;
    type->items.enumerators = enumerator;
    ++type->target.count;
  }
  return length + 4;
}

}  // namespace

void ReadEnumerationType(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset) {
  DescType* type = DefineType(module, key, KIND_ENUM, "enum");
  ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) {
    switch (name) {
      case AT_name:
        return ReadNameOr("enum", module->heap, &type->name);
      case AT_byte_size:
        return ReadByteSize(form, &type->byteSize);
      case AT_element_list:
        return ReadElementList(module->heap, type);
      default:
        return SkipAttributeValue(form);
    }
  });
}

}  // namespace dwarf1
