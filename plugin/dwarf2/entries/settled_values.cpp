// What entries say that takes sizes of types: bit fields, values of constants, sizes and signs that come from another
// type. It is collected while a unit is read, and settled after the last of its types.
#include <algorithm>

#include "dwarf2/entries/bit_fields.h"
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/fields.h"
#include "records/type_size.h"

namespace {

constexpr uint8_t noExpression[EXPRESSION_PADDING] = {};
constexpr uint32_t MAX_CONSTANT = 0x10000;  // bytes; a larger type leaves the constant as long as the file has it

// The distance that a member's location adds to the address of the structure; false for any other expression. A union
// has its members at its start, without a location.
bool DistanceOf(const DescLocation* location, uint32_t* distance) {
  *distance = 0;
  if (location == nullptr) {
    return true;
  }
  const uint8_t* next = location->expression;
  if (location->next != nullptr || *next++ != DW_OP_plus_uconst) {
    return false;
  }
  *distance = DecodeUleb(&next);
  return *next == 0;  // the padding
}

bool IsSigned(const DescType* type) {
  return type != nullptr && type->kind == KIND_BASIC &&
         (type->items.encoding == ENCODING_SIGNED || type->items.encoding == ENCODING_SIGNED_CHAR);
}

uint32_t PositiveSize(const DescType* type, Allowance* allowance) {
  const int32_t size = TypeSize(type, allowance);
  return size > 0 ? static_cast<uint32_t>(size) : 0;
}

// Bytes of a number whose type has no size.
uint32_t OwnSize(const AttributeValue& value) {
  if (value.size != 0) {
    return value.size;
  }
  const bool fits = value.high == 0 || (value.high == UINT32_MAX && value.valueClass == ValueClass::signedConstant);
  return fits ? sizeof(value.number) : sizeof(value.number) + sizeof(value.high);
}

}  // namespace

void EntryWalk::TakeConstValue(const AttributeValue& value, const Cursor& cursor) {
  switch (value.valueClass) {
    case ValueClass::address:
    case ValueClass::constant:
    case ValueClass::signedConstant:
    case ValueClass::block:
    case ValueClass::expression:
    case ValueClass::inlineText:
    case ValueClass::text:
    case ValueClass::lineText:
      facts_.constValue = {value,
                           cursor.Section().name == sections_->types.name ? &sections_->types : &sections_->info};
      break;
    default:
      facts_.constValue = {};
      break;
  }
}

void EntryWalk::AddBitField(DescVar* field) {
  if (facts_.bitSize == 0 || facts_.bitSize > UINT8_MAX) {
    return;
  }
  const int32_t bits = facts_.hasDataBitOffset ? static_cast<int32_t>(facts_.dataBitOffset) : facts_.bitOffset;
  Keep(&pending_.fields, {field, facts_.storageSize, bits, facts_.hasDataBitOffset});
}

// The location is made at once, so that it can get the range of a block, and its expression later.
void EntryWalk::AddConstant(DescVar* variable) {
  if (facts_.constValue.valueClass != ValueClass::absent && variable->location == nullptr) {
    variable->location = heap_->New(DescLocation{nullptr, 0, ADDRESS_SPACE_END, const_cast<uint8_t*>(noExpression)});
    Keep(&pending_.constants, {variable, facts_.constValue});
  }
}

void EntryWalk::AddSize(DescType* type, const DescType* source) {
  Keep(&pending_.sizes, {type, source});
}

void EntryWalk::AddEnumerator(DescEnumerator* enumerator, const DescType* type, uint8_t size) {
  Keep(&pending_.enumerators, {enumerator, type, size});
}

void EntryWalk::SettleFields() {
  for (const PendingSize& pending : pending_.sizes) {
    pending.type->byteSize = TypeSize(pending.source, allowance_);
  }
  for (DescType* type : pending_.memberPointers) {
    const DescType* member = UnqualifiedType(type->target.type, allowance_);
    type->byteSize *= member != nullptr && member->kind == KIND_FUNCTION ? 2 : 1;
  }
  for (const PendingEnumerator& pending : pending_.enumerators) {
    if (IsSigned(UnqualifiedType(pending.type, allowance_))) {
      ExtendBySign(pending.enumerator, pending.size);
    }
  }
  for (const PendingField& pending : pending_.fields) {
    SettleField(pending);
  }
  for (const PendingConstant& pending : pending_.constants) {
    SettleConstant(pending);
  }
  pending_.Empty();
}

void EntryWalk::ExtendBySign(DescEnumerator* enumerator, uint8_t size) {
  enumerator->value = size == 1 ? static_cast<int8_t>(enumerator->value) : static_cast<int16_t>(enumerator->value);
}

// A field whose structure is found by more than a distance keeps its location and its storage unit.
void EntryWalk::SettleField(const PendingField& pending) {
  DescVar* field = pending.field;
  const uint32_t declaredSize = PositiveSize(field->type, allowance_);
  RawBitField raw = {
      .bitSize = field->bitSize,
      .bits = pending.bits,
      .countsFromStart = pending.countsFromStart,
      .countsFromLowEnd = module_->ext->bitNumbering <= 1,
      .byteOffset = 0,
      .storageSize = pending.storageSize != 0 ? pending.storageSize : declaredSize,
  };
  const bool isAtDistance = DistanceOf(field->location, &raw.byteOffset);
  BitFieldPlace place = {};
  if ((!isAtDistance && !raw.countsFromStart) || !PlaceBitField(raw, declaredSize, isLittleEndian_, &place)) {
    field->byteSize = static_cast<int32_t>(raw.storageSize);
    const auto bits = static_cast<uint32_t>(raw.bits);
    field->bitOffset = static_cast<uint8_t>(
        raw.countsFromLowEnd ? bits : raw.storageSize * uint32_t{BITS_PER_BYTE} - raw.bitSize - bits);
    return;
  }
  field->byteSize = static_cast<int32_t>(place.byteSize);
  field->bitOffset = place.bitOffset;
  if (field->location == nullptr || !isAtDistance || raw.byteOffset != place.byteOffset) {
    DescLocation* location = expressions_.MakeDistance(place.byteOffset);
    field->location = location != nullptr ? location : field->location;
  }
}

// The constant becomes DW_OP_implicit_value with as many bytes as its type has. A type without a size leaves it as it
// is in the file.
void EntryWalk::SettleConstant(const PendingConstant& pending) {
  const ConstValue& value = pending.value;
  const uint32_t typeSize = PositiveSize(pending.variable->type, allowance_);
  const bool isSized = typeSize != 0 && typeSize <= MAX_CONSTANT;
  DescLocation* made = nullptr;
  text_.Seek(*value.section, value.place);
  if (value.IsBlock()) {
    made = expressions_.MakeImplicitValue(&text_, value, isSized ? typeSize : value.number);
    text_.Charge(value.number);
  } else if (value.IsConstant() || value.valueClass == ValueClass::address) {
    made = expressions_.MakeImplicitValue(&text_, value, isSized ? typeSize : OwnSize(value));
  } else {
    const char* text = TextOf(value, text_);
    made = expressions_.MakeImplicitText(text, isSized ? typeSize : static_cast<uint32_t>(std::strlen(text) + 1));
  }
  if (made == nullptr) {
    pending.variable->location = nullptr;
    return;
  }
  for (DescLocation* location = pending.variable->location; location != nullptr; location = location->next) {
    location->expression = made->expression;
  }
}
