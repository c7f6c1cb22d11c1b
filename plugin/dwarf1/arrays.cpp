#include "dwarf1/arrays.h"

#include <iterator>

#include "dwarf1/memory.h"
#include "dwarf1/types.h"

namespace dwarf1 {
namespace {

struct SubscriptFormat {
  uint32_t indexSize;  // bytes of the index type: a FT_ code or an offset
  bool isLowConstant;
  bool isHighConstant;
};

// Row number is the FMT_ code. Bounds are 4 bytes, or an expression with a 2-byte length.
constexpr SubscriptFormat subscriptFormats[] = {
    {2, true, true},    // FMT_FT_C_C
    {2, true, false},   // FMT_FT_C_X
    {2, false, true},   // FMT_FT_X_C
    {2, false, false},  // FMT_FT_X_X
    {4, true, true},    // FMT_UT_C_C
    {4, true, false},   // FMT_UT_C_X
    {4, false, true},   // FMT_UT_X_C
    {4, false, false},  // FMT_UT_X_X
};
static_assert(std::size(subscriptFormats) == FMT_ET);

// The block of AT_subscr_data: what is read never passes its end.
class SubscriptBlock {
 public:
  explicit SubscriptBlock(uint32_t size) : left_(size) {}

  bool Has(uint32_t count) const { return count <= left_; }
  bool IsEmpty() const { return left_ == 0; }
  uint32_t U8() { return Took(1), ReadU8(); }
  uint32_t U16() { return Took(2), ReadU16(); }
  int32_t S32() { return Took(4), static_cast<int32_t>(ReadU32()); }
  void Skip(uint32_t count) { Took(count), SkipBytes(count); }
  void SkipRest() { Skip(left_); }

 private:
  void Took(uint32_t count) { left_ -= count; }
  uint32_t left_;
};

bool ReadBound(SubscriptBlock* block, bool isConstant, int32_t* bound) {
  if (isConstant) {
    if (!block->Has(4)) {
      return false;
    }
    *bound = block->S32();
    return true;
  }
  if (!block->Has(2)) {
    return false;
  }
  const uint32_t length = block->U16();
  if (!block->Has(length)) {
    return false;
  }
  block->Skip(length);
  return true;
}

// Reads what stands behind a format byte. Only a fundamental index type with two constant bounds gives a dimension.
// False when the block ends before the item does.
bool ReadSubscript(mem_desc* heap, SubscriptBlock* block, uint32_t format, ListEnd<DescDimension>* dimensions) {
  if (format >= std::size(subscriptFormats)) {
    return true;
  }
  const SubscriptFormat& row = subscriptFormats[format];
  if (!block->Has(row.indexSize)) {
    return false;
  }
  block->Skip(row.indexSize);
  int32_t low = 0;
  int32_t high = 0;
  if (!ReadBound(block, row.isLowConstant, &low) || !ReadBound(block, row.isHighConstant, &high)) {
    return false;
  }
  if (format == FMT_FT_C_C) {
    auto* dimension = NewRecord<DescDimension>(heap);
    dimension->low = low;
    dimension->high = high;
    dimensions->Append(dimension);
  }
  return true;
}

// A 2-byte length, items that each begin with a format byte, FMT_ET, and the element type as an attribute. The
// attribute counts as part of the block. A block without FMT_ET sets the latch.
uint32_t ReadSubscriptData(DescModule* module, DescType* array) {
  const uint32_t length = ReadU16();
  SubscriptBlock block(length);
  DescDimension* first = nullptr;
  ListEnd<DescDimension> dimensions(&first);
  bool hasEnd = false;
  while (!hasEnd && !block.IsEmpty()) {
    const uint32_t format = block.U8();
    hasEnd = format == FMT_ET;
    if (!hasEnd && !ReadSubscript(module->heap, &block, format, &dimensions)) {
      break;
    }
  }
  array->items.dimensions = first;
  if (!hasEnd) {
    Fail("subscript data without end");
    block.SkipRest();
  } else if (!block.IsEmpty()) {
    const uint32_t code = ReadU16();
    ReadTypeAttribute(module, code & NAME_MASK, code & FORM_MASK, &array->element.type);
  }
  return length + 2;
}

void AddPendingArray(DescModule* module, DescType* array) {
  AddToHostList(&module->ext->pendingArrays, module->heap, array);
}

}  // namespace

void ReadArrayType(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset) {
  DescType* array = DefineType(module, key, KIND_ARRAY, "array");
  array->element.type = dwarf1State.undefinedType;
  int32_t size = 0;
  const bool regular = ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) {
    int32_t value = 0;
    uint32_t consumed = 0;
    switch (name) {
      case AT_subscr_data:
        return ReadSubscriptData(module, array);
      case AT_byte_size:
        consumed = ReadByteSize(form, &value);
        size = size == 0 ? value : size;
        return consumed;
      case AT_stride_size:  // in bits: a size below 0 is that of one element
        consumed = ReadByteSize(form, &value);
        size = -(value / 8);
        return consumed;
      default:
        return ReadTypeAttribute(module, name, form, &array->element.type);
    }
  });
  if (regular) {
    array->byteSize = size;
    AddPendingArray(module, array);
  }
}

}  // namespace dwarf1
