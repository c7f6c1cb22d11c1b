// Arrays and their dimensions, and strings, which are arrays of characters.
#include <algorithm>

#include "dwarf/unit_facts.h"
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/fields.h"

namespace {

constexpr int32_t NO_BOUND = INT32_MIN;

// The number of elements; 0 without dimensions and where one has none.
uint64_t ElementCount(const DescDimension* dimensions) {
  uint64_t count = dimensions != nullptr ? 1 : 0;
  for (; dimensions != nullptr; dimensions = dimensions->next) {
    const int64_t elements = int64_t{dimensions->high} - dimensions->low + 1;
    count = std::min<uint64_t>(count, INT32_MAX) * static_cast<uint64_t>(std::max<int64_t>(elements, 0));
  }
  return count;
}

}  // namespace

DescType* EntryWalk::ReadArray(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  const bool asPublished = unit_.rules->readsAllTypes;
  type->element.type = build_->undefinedType;
  facts_.array = {};
  RunPlan(&info_, entry, RecordKind::array, type);
  ArrayFacts facts = facts_.array;
  ListTail<DescDimension> dimensions(&type->items.dimensions);
  uint32_t count = 0;
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childOffset) {
    if (child->tag == DW_TAG_subrange_type || (child->tag == DW_TAG_generic_subrange && asPublished)) {
      dimensions.Append(asPublished ? ReadDimension(child, &facts) : ReadPlainDimension(child));
      ++count;
    } else if (child->tag == DW_TAG_enumeration_type) {
      // A dimension that is given by an enumeration: a type of its own.
      ReadEntry(child, childOffset);
      if (asPublished) {
        dimensions.Append(NewDimension(types_.Find(childOffset)));
        ++count;
      }
    } else if (asPublished) {
      ReadEntry(child, childOffset);
    } else {
      SkipEntry(child);
    }
  });
  type->target.count = type->items.dimensions != nullptr ? count - 1 : 0;
  TakeStride(type, facts);
  hasSettledName_ = false;
  return type;
}

DescDimension* EntryWalk::ReadPlainDimension(AbbrevEntry* entry) {
  auto* dimension = heap_->New<DescDimension>();
  if (dimension != nullptr) {
    RunPlan(&info_, entry, RecordKind::dimension, dimension);
  }
  return dimension;
}

// Without a lower bound it is the language's. Without an upper bound and a count, and with one that is no constant,
// there are no elements. A stride of the dimension is the array's.
DescDimension* EntryWalk::ReadDimension(AbbrevEntry* entry, ArrayFacts* array) {
  auto* dimension = heap_->New<DescDimension>();
  if (dimension == nullptr) {
    SkipEntry(entry);
    return nullptr;
  }
  dimension->low = LowestIndexOf(place_->language);
  dimension->high = NO_BOUND;
  facts_.array = {};
  RunPlan(&info_, entry, RecordKind::dimension, dimension);
  const ArrayFacts own = facts_.array;
  const auto low = static_cast<uint32_t>(dimension->low);
  if (own.isOpen || (!own.hasCount && dimension->high == NO_BOUND)) {
    dimension->high = static_cast<int32_t>(low - 1);
  } else if (own.hasCount) {
    dimension->high = static_cast<int32_t>(low + own.count - 1);
  }
  array->bitStride = own.bitStride != 0 ? own.bitStride : array->bitStride;
  array->byteStride = own.byteStride != 0 ? own.byteStride : array->byteStride;
  ReadNestedTypes(entry);
  return dimension;
}

// From 0 to the number of enumerators less 1.
DescDimension* EntryWalk::NewDimension(const DescType* enumeration) {
  auto* dimension = heap_->New<DescDimension>();
  if (dimension == nullptr || enumeration == nullptr) {
    return dimension;
  }
  dimension->high = -1;
  for (const DescEnumerator* item = enumeration->items.enumerators; item != nullptr; item = item->next) {
    ++dimension->high;
  }
  return dimension;
}

// A stride in bytes is the size of an element, in an array of one dimension. Elements of so many bits give the array
// its size, where the entry has none.
void EntryWalk::TakeStride(DescType* type, const ArrayFacts& facts) {
  const bool isRow = type->target.count == 0;
  if (facts.byteStride != 0 && facts.byteStride <= INT32_MAX && isRow) {
    type->byteSize = -static_cast<int32_t>(facts.byteStride);
  } else if (facts.bitStride != 0 && facts.bitStride <= INT32_MAX && type->byteSize == 0) {
    const uint64_t bytes = (ElementCount(type->items.dimensions) * facts.bitStride + BITS_PER_BYTE - 1) / BITS_PER_BYTE;
    type->byteSize = static_cast<int32_t>(std::min<uint64_t>(bytes, INT32_MAX));
  }
}

// An array from 1 of bytes. A string whose length is kept beside it has none here.
DescType* EntryWalk::ReadStringType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  facts_.array = {};
  RunPlan(&info_, entry, RecordKind::array, type);
  type->element.type = build_->characterType;
  if (facts_.array.hasStringLength) {
    type->byteSize = 0;
  }
  auto* dimension = heap_->New<DescDimension>();
  if (dimension != nullptr) {
    *dimension = {nullptr, 1, type->byteSize};
  }
  type->items.dimensions = dimension;
  ReadNestedTypes(entry);
  return type;
}
