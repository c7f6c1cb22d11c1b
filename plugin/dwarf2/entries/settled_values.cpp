// What entries say that takes sizes of types: bit fields, values of constants, sizes and signs that come from another
// type. It is collected while a unit is read, and settled after the last of its types.
#include <algorithm>

#include "dwarf2/entries/bit_fields.h"
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/fields.h"
#include "records/type_size.h"

namespace {

constexpr uint32_t ADDRESS_SPACE_END = 0xFFFFFFFF;
constexpr uint32_t MAX_ULEB_SIZE = 5;       // of 32 bits
constexpr uint32_t MORE_FOLLOWS = 0x80;     // in a byte of a LEB128 number
constexpr uint32_t MAX_CONSTANT = 0x10000;  // bytes; a larger type leaves the constant as long as the file has it

// Writes a ULEB128 and returns the place after it.
uint8_t* PutUleb(uint8_t* to, uint32_t value) {
  for (; value >= MORE_FOLLOWS; value >>= LEB_BITS) {
    *to++ = static_cast<uint8_t>(value | MORE_FOLLOWS);
  }
  *to++ = static_cast<uint8_t>(value);
  return to;
}

uint32_t UlebSize(uint32_t value) {
  uint8_t bytes[MAX_ULEB_SIZE];
  return static_cast<uint32_t>(PutUleb(bytes, value) - bytes);
}

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

// The number in `size` bytes, in the file's order, extended by zeros or by its sign.
void PutNumber(uint8_t* to, uint32_t size, const AttributeValue& value, bool littleEndian) {
  const uint64_t number = uint64_t{value.high} << 32 | value.number;
  const bool isNegative = value.valueClass == ValueClass::signedConstant && value.high > INT32_MAX;
  const uint8_t filler = isNegative ? 0xFF : 0;
  for (uint32_t i = 0; i < size; ++i) {
    const uint8_t byte = i < sizeof(number) ? static_cast<uint8_t>(number >> (BITS_PER_BYTE * i)) : filler;
    to[littleEndian ? i : size - 1 - i] = byte;
  }
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

void EntryWalk::AddConstant(DescVar* variable) {
  if (facts_.constValue.valueClass != ValueClass::absent && variable->location == nullptr) {
    Keep(&pending_.constants, {variable, facts_.constValue});
  }
}

template <typename Element>
void EntryWalk::Keep(GrowingArray<Element>* list, const Element& element) {
  if (!list->Push(element)) {
    failure_->NoteNoMemory();
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
    uint8_t* end = nullptr;
    DescLocation* location = NewExpression(1 + UlebSize(place.byteOffset), &end);
    if (location != nullptr) {
      *end++ = DW_OP_plus_uconst;
      PutUleb(end, place.byteOffset);
      field->location = location;
    }
  }
}

// The constant becomes DW_OP_implicit_value with as many bytes as its type has. A type without a size leaves it as it
// is in the file.
void EntryWalk::SettleConstant(const PendingConstant& pending) {
  const ConstValue& value = pending.value;
  const uint32_t typeSize = PositiveSize(pending.variable->type, allowance_);
  const bool isSized = typeSize != 0 && typeSize <= MAX_CONSTANT;
  uint8_t* end = nullptr;
  if (value.IsBlock()) {
    const uint32_t size = isSized ? typeSize : value.number;
    pending.variable->location = NewImplicitValue(size, &end);
    if (end != nullptr) {
      text_.Seek(*value.section, value.place);
      const uint32_t got = text_.Read(end, std::min(size, value.number));
      std::memset(end + got, 0, size - got);
      text_.Charge(got);
    }
  } else if (value.IsConstant() || value.valueClass == ValueClass::address) {
    const uint32_t size = isSized ? typeSize : OwnSize(value);
    pending.variable->location = NewImplicitValue(size, &end);
    if (end != nullptr) {
      PutNumber(end, size, value, isLittleEndian_);
    }
  } else {
    text_.Seek(*value.section, value.place);
    const char* text = TextOf(value, text_);
    const auto length = static_cast<uint32_t>(std::strlen(text) + 1);
    const uint32_t size = isSized ? typeSize : length;
    pending.variable->location = NewImplicitValue(size, &end);
    if (end != nullptr) {
      std::memcpy(end, text, std::min(size, length));
      std::memset(end + std::min(size, length), 0, size - std::min(size, length));
    }
  }
}

// A record with DW_OP_implicit_value for a value of `size` bytes that is yet to be written; `value` stays null when
// there is no memory.
DescLocation* EntryWalk::NewImplicitValue(uint32_t size, uint8_t** value) {
  uint8_t* end = nullptr;
  DescLocation* location = NewExpression(1 + UlebSize(size) + size, &end);
  if (location != nullptr) {
    *end++ = DW_OP_implicit_value;
    *value = PutUleb(end, size);
  }
  return location;
}

// A record for an expression of `length` bytes that are yet to be written, which holds everywhere. Null, with the
// failure noted, without memory.
DescLocation* EntryWalk::NewExpression(uint32_t length, uint8_t** bytes) {
  auto* location = static_cast<DescLocation*>(heap_->Get(sizeof(DescLocation) + length + EXPRESSION_PADDING));
  if (location == nullptr) {
    return nullptr;
  }
  *bytes = reinterpret_cast<uint8_t*>(location + 1);
  *location = {nullptr, 0, ADDRESS_SPACE_END, *bytes};
  std::memset(*bytes + length, 0, EXPRESSION_PADDING);
  return location;
}
