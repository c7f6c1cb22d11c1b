// The values of a unit's entries: each attribute in its fixed layout, whatever its form says, and the type records that
// attributes make. A length in front of a value counts, whatever is read of the value.
#include <algorithm>
#include <cstring>
#include <new>

#include "dwarf1/unit_fill.h"

namespace dwarf1 {
namespace {

constexpr int32_t POINTER_SIZE = 4;          // of every pointer, whatever the target's addresses are
constexpr uint32_t COST_OF_POINTER = 16;     // in bytes: one byte makes a record
constexpr uint32_t COST_OF_LONG_CHAIN = 64;  // the same of a pointer to which others lead
constexpr int32_t LONG_CHAIN = 16;           // pointers
constexpr int32_t MODIFIER_LIMIT = 1024;     // modifiers that are honoured in front of one type
constexpr int32_t BITS_PER_BYTE = 8;
constexpr uint64_t PENDING_NODE = 64;  // bytes of a host list's node, and of the one that a merge makes of it

// Bits of a FMT_ code.
constexpr uint32_t HIGH_IS_EXPRESSION = 1;
constexpr uint32_t LOW_IS_EXPRESSION = 2;
constexpr uint32_t INDEX_IS_USER_TYPE = 4;

// Takes bytes of a block, if it has as many left.
bool Take(uint32_t count, uint32_t* left) {
  if (count > *left) {
    return false;
  }
  *left -= count;
  return true;
}

void SetType(DescType** slot, DescType* type) {
  *slot = type != nullptr ? type : *slot;
}

}  // namespace

bool UnitFill::ReadAttributes(const EntryHeader& entry, AttributeSet taken, EntryValues* values, uint32_t* sibling) {
  return debug_.ReadAttributes(entry, taken, sibling,
                               [this, values](uint32_t name, uint32_t form) { return ReadValue(name, form, values); });
}

uint32_t UnitFill::ReadValue(uint32_t name, uint32_t form, EntryValues* values) {
  switch (name) {
    case AT_location:
      return ReadLocation(values);
    case AT_name:
      return debug_.ReadName(&heap_, &values->name);
    case AT_subscr_data:
      return ReadSubscriptData(values);
    case AT_byte_size:
    case AT_stride_size:
      return ReadSize(name, form, values);
    case AT_bit_offset:
      values->bitOffset = static_cast<uint8_t>(debug_.U16());
      values->isBitField = true;
      return 2;
    case AT_bit_size:
      values->bitSize = static_cast<uint8_t>(debug_.U32());
      return 4;
    case AT_element_list:
      return ReadElementList(values);
    case AT_low_pc:
      values->range.low = debug_.U32();
      return 4;
    case AT_high_pc:
      values->range.high = debug_.U32();
      return 4;
    case AT_prototyped:
      values->isPrototyped = true;
      return debug_.SkipText();
    default:
      return ReadTypeAttribute(name, form, &values->type);
  }
}

// A stride is in bits, and becomes a size below 0, which is that of one element.
uint32_t UnitFill::ReadSize(uint32_t name, uint32_t form, EntryValues* values) {
  uint32_t value = 0;
  const uint32_t consumed = debug_.ReadData(form, &value);
  const auto size = static_cast<int32_t>(value);
  if (name == AT_stride_size) {
    values->byteSize = -(size / BITS_PER_BYTE);
  } else if (!values->isArray || values->byteSize == 0) {
    values->byteSize = size;
  }
  return consumed;
}

// A 2-byte length, then the expression, which is kept after its record, with zeros after it.
uint32_t UnitFill::ReadLocation(EntryValues* values) {
  const uint32_t length = debug_.U16();
  const uint32_t inFile = debug_.BytesInFile(length);
  if (inFile < length) {
    debug_.Damage("the file ends in a location");
  }
  void* memory = Made(heap_.Get(sizeof(DescLocation) + inFile + EXPRESSION_PADDING));
  if (memory == nullptr) {
    debug_.Skip(inFile);
    return length + 2;
  }
  uint8_t* expression = static_cast<uint8_t*>(memory) + sizeof(DescLocation);
  values->location = new (memory) DescLocation{nullptr, values->range.low, values->range.high, expression};
  debug_.ReadBytes(expression, inFile);
  std::memset(expression + inFile, 0, EXPRESSION_PADDING);
  return length + 2;
}

// A 4-byte length, then pairs of a 4-byte value and a name. The list runs against the order of the file.
uint32_t UnitFill::ReadElementList(EntryValues* values) {
  const uint32_t length = debug_.U32();
  values->enumerators = nullptr;
  values->enumeratorCount = 0;
  for (int64_t left = static_cast<int32_t>(length); left > 0;) {
    if (debug_.AtEnd()) {
      debug_.Damage("the file ends in a list of enumerators");
      break;
    }
    auto* enumerator = Made(Prepend(&values->enumerators, heap_.New<DescEnumerator>()));
    if (enumerator == nullptr) {
      break;
    }
    enumerator->value = static_cast<int32_t>(debug_.U32());
    left -= 4 + debug_.ReadName(&heap_, &enumerator->name);
    ++values->enumeratorCount;
  }
  return length + 4;
}

// A 2-byte length, items that each begin with a format byte, FMT_ET, and the element type as an attribute. No item is
// read past the end of the block; the attribute is.
uint32_t UnitFill::ReadSubscriptData(EntryValues* values) {
  const uint32_t length = debug_.U16();
  uint32_t left = length;
  bool isEnded = false;
  values->dimensions = nullptr;
  ListTail<DescDimension> dimensions(&values->dimensions);
  while (!isEnded && Take(1, &left)) {
    const uint32_t format = debug_.U8();
    isEnded = format == FMT_ET;
    if (format < FMT_ET && !ReadSubscript(format, &left, &dimensions)) {
      break;
    }
  }
  if (!isEnded) {
    debug_.Damage("subscript data have no end");
    debug_.Skip(left);
  } else if (left > 0) {
    const uint32_t code = debug_.U16();
    ReadTypeAttribute(code & NAME_MASK, code & FORM_MASK, &values->type);
  }
  return length + 2;
}

// Only a fundamental index type with two constant bounds makes a dimension. False when the block ends before the item.
bool UnitFill::ReadSubscript(uint32_t format, uint32_t* left, ListTail<DescDimension>* dimensions) {
  const uint32_t indexSize = (format & INDEX_IS_USER_TYPE) != 0 ? 4 : 2;
  if (!Take(indexSize, left)) {
    return false;
  }
  debug_.Skip(indexSize);
  int32_t low = 0;
  int32_t high = 0;
  if (!ReadBound((format & LOW_IS_EXPRESSION) != 0, left, &low) ||
      !ReadBound((format & HIGH_IS_EXPRESSION) != 0, left, &high)) {
    return false;
  }
  auto* dimension = format == FMT_FT_C_C ? Made(heap_.New<DescDimension>()) : nullptr;
  if (dimension != nullptr) {
    dimension->low = low;
    dimension->high = high;
    dimensions->Append(dimension);
  }
  return true;
}

// 4 bytes, or an expression with a 2-byte length, which is not kept.
bool UnitFill::ReadBound(bool isExpression, uint32_t* left, int32_t* bound) {
  if (!Take(isExpression ? 2 : 4, left)) {
    return false;
  }
  if (!isExpression) {
    *bound = static_cast<int32_t>(debug_.U32());
    return true;
  }
  const uint32_t length = debug_.U16();
  if (!Take(length, left)) {
    return false;
  }
  debug_.Skip(length);
  return true;
}

// Any other attribute is skipped by its form.
uint32_t UnitFill::ReadTypeAttribute(uint32_t name, uint32_t form, DescType** slot) {
  uint32_t code = 0;
  uint32_t consumed = 4;
  switch (name) {
    case AT_fund_type:
      consumed = debug_.ReadData(form, &code);
      *slot = build_->BasicType(code);
      return consumed;
    case AT_user_def_type:
      SetType(slot, TypeOf(debug_.U32()));
      return consumed;
    case AT_mod_fund_type:
    case AT_mod_u_d_type:
      return ReadModifiedType(name, slot);
    default:
      return debug_.SkipValue(form);
  }
}

// A 2-byte length, which counts the modifiers and the type after them.
uint32_t UnitFill::ReadModifiedType(uint32_t name, DescType** slot) {
  const bool isFundamental = name == AT_mod_fund_type;
  const uint32_t length = debug_.U16();
  slot = ReadModifiers(static_cast<int32_t>(length) - (isFundamental ? 2 : 4), slot);
  SetType(slot, isFundamental ? build_->BasicType(debug_.U16()) : TypeOf(debug_.U32()));
  return length + 2;
}

// Each pointer or reference is a record, the first of which goes into `slot` and each further one into the one before.
// Returns the slot of the modified type.
DescType** UnitFill::ReadModifiers(int32_t count, DescType** slot) {
  for (int32_t i = 0; i < count; ++i) {
    if (i == MODIFIER_LIMIT) {
      debug_.Damage("a type has more than %d modifiers", MODIFIER_LIMIT);
      debug_.Skip(static_cast<uint32_t>(count - i));
      break;
    }
    const uint8_t modifier = debug_.U8();
    DescType* pointer = modifier == MOD_pointer_to || modifier == MOD_reference_to ? NewPointer() : nullptr;
    if (pointer != nullptr) {
      debug_.Charge(i < LONG_CHAIN ? COST_OF_POINTER : COST_OF_LONG_CHAIN);
      *slot = pointer;
      slot = &pointer->target.type;
    }
  }
  return slot;
}

DescType* UnitFill::NewPointer() {
  auto* pointer = Made(Prepend(&module_->types, heap_.New<DescType>()));
  if (pointer != nullptr) {
    pointer->name = EmptyString();
    pointer->key = NO_KEY;
    pointer->byteSize = POINTER_SIZE;
    pointer->kind = KIND_POINTER;
    ++module_->typeCount;
    newestPointer_ = pointer;
  }
  return pointer;
}

// The type of a key, or a placeholder. Null without memory.
DescType* UnitFill::TypeOf(uint32_t key) {
  return key == NO_KEY && newestPointer_ != nullptr ? newestPointer_ : Made(types_.FindOrAdd(key));
}

// The type that an entry defines, with the words of its kind cleared. Null without memory.
DescType* UnitFill::DefineType(const TypeRow& row, uint32_t key) {
  DescType* type = TypeOf(key);
  if (type != nullptr) {
    type->name = row.word != nullptr ? FixedWord(row.word) : EmptyString();
    type->byteSize = 0;
    type->kind = row.kind;
    type->target.word = 0;
    type->items.word = 0;
    type->element.word = 0;
  }
  return type;
}

// Puts a record at the head of a list of what the loader settles after the fill.
void UnitFill::AddPending(L_list** list, void* record) {
  if (*list == nullptr) {
    *list = L_Create(module_->heap);
  }
  if (!allowance_.TakeMemory(PENDING_NODE) || L_InsertData(*list, L_AT_HEAD, L_Nop, record) == 0) {
    failure_.NoteNoMemory();
    isOutOfMemory_ = true;
  }
}

}  // namespace dwarf1
