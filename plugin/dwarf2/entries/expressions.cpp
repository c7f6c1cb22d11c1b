#include "dwarf2/entries/expressions.h"

#include <algorithm>
#include <cstring>

#include "dwarf/leb128.h"
#include "dwarf2/entries/operands.h"

namespace {

constexpr uint16_t FIRST_VERSION_WITH_INDEXES = 5;

// Whether a byte is the code of an operation that has a length in it: implicit_value, entry_value, const_type, and the
// GNU forms of the last two.
bool HasLengths(uint8_t code) {
  return code == 0x9E || code == 0xA3 || code == 0xA4 || code == 0xF3 || code == 0xF4;
}

// Copies the next `length` bytes. Those that the file does not have are zeros: it changed meanwhile.
void CopyBytes(Cursor* cursor, uint8_t* bytes, uint32_t length) {
  const uint32_t got = cursor->Read(bytes, length);
  std::memset(bytes + got, 0, length - got);
}

}  // namespace

// Whether operations of the unit may have to be resolved. Before version 5 only split units have indexes, and those
// came with a section of addresses.
bool ExpressionReader::DependsOnUnit(const UnitForms& unit) const {
  return unit.rules->readsUnitsByVersion &&
         (unit.version >= FIRST_VERSION_WITH_INDEXES || unit.offsetSize != 4 || hasAddresses_);
}

// A record with room for an expression, and the zeros after it.
DescLocation* ExpressionReader::New(uint32_t length, uint32_t lowPc, uint32_t highPc) {
  auto* location = static_cast<DescLocation*>(heap_->Get(sizeof(DescLocation) + length + EXPRESSION_PADDING));
  if (location == nullptr) {
    return nullptr;
  }
  auto* expression = reinterpret_cast<uint8_t*>(location + 1);
  *location = {nullptr, lowPc, highPc, expression};
  std::memset(expression + length, 0, EXPRESSION_PADDING);
  return location;
}

// Whoever walks the operations trusts the lengths in them, so one that is too long ends the expression. Few expressions
// have a byte that could be such an operation's code.
void ExpressionReader::CutUnsound(uint8_t* expression, uint32_t length, const UnitForms& unit) {
  uint8_t* const end = expression + length;
  if (!unit.rules->readsUnitsByVersion || std::none_of(expression, end, HasLengths)) {
    return;
  }
  const uint32_t referenceSize = unit.version < 3 ? unit.addressSize : 4;
  const uint8_t* sound = EndOfSoundOperations(expression, end, unit.addressSize, referenceSize);
  std::fill(expression + (sound - expression), end, uint8_t{0});
}

DescLocation* ExpressionReader::Read(Cursor* cursor, const UnitForms& unit, uint32_t length, uint32_t lowPc,
                                     uint32_t highPc) {
  const bool isInWindow = cursor->End() - cursor->Next() >= static_cast<ptrdiff_t>(length);
  if (!isInWindow && length > cursor->BytesLeft()) {
    cursor->Fail("an expression of 0x%X bytes goes past the end of the file", static_cast<unsigned>(length));
    return nullptr;
  }
  if (DependsOnUnit(unit)) {
    return ReadResolved(cursor, unit, length, lowPc, highPc);
  }
  DescLocation* location = New(length, lowPc, highPc);
  if (location == nullptr) {
    return nullptr;
  }
  if (isInWindow) {
    std::memcpy(location->expression, cursor->Next(), length);
    cursor->SetNext(cursor->Next() + length);
  } else {
    CopyBytes(cursor, location->expression, length);
  }
  CutUnsound(location->expression, length, unit);
  return location;
}

DescLocation* ExpressionReader::ReadResolved(Cursor* cursor, const UnitForms& unit, uint32_t length, uint32_t lowPc,
                                             uint32_t highPc) {
  const uint8_t* bytes = cursor->Next();
  if (cursor->End() - bytes >= static_cast<ptrdiff_t>(length)) {
    cursor->SetNext(bytes + length);
  } else {
    if (!bytes_.Resize(length)) {
      cursor->failure().NoteNoMemory();
      return nullptr;
    }
    CopyBytes(cursor, bytes_.begin(), length);
    bytes = bytes_.begin();
  }
  rewrite_.BeginUnit(unit, values_);
  if (rewrite_.IsNeeded(bytes, length)) {
    if (!rewrite_.Run(cursor, bytes, length)) {
      return nullptr;
    }
    bytes = rewrite_.Output();
    length = rewrite_.OutputLength();
  }
  DescLocation* location = New(length, lowPc, highPc);
  if (location != nullptr && length != 0) {
    std::memcpy(location->expression, bytes, length);
    CutUnsound(location->expression, length, unit);
  }
  return location;
}

DescLocation* ExpressionReader::MakeDistance(uint32_t distance) {
  uint8_t number[LEB_LONGEST_32];
  const uint32_t size = EncodeUleb(distance, number);
  DescLocation* location = New(1 + size, 0, ADDRESS_SPACE_END);
  if (location != nullptr) {
    location->expression[0] = DW_OP_plus_uconst;
    std::memcpy(location->expression + 1, number, size);
  }
  return location;
}

DescLocation* ExpressionReader::NewImplicit(uint32_t size, uint8_t** value) {
  if (size == 0 || size > INT32_MAX) {
    return nullptr;
  }
  uint8_t number[LEB_LONGEST_32];
  const uint32_t numberSize = EncodeUleb(size, number);
  DescLocation* location = New(1 + numberSize + size, 0, ADDRESS_SPACE_END);
  if (location != nullptr) {
    location->expression[0] = DW_OP_implicit_value;
    std::memcpy(location->expression + 1, number, numberSize);
    *value = location->expression + 1 + numberSize;
    std::memset(*value, 0, size);
  }
  return location;
}

DescLocation* ExpressionReader::MakeImplicitValue(Cursor* cursor, const AttributeValue& value, uint32_t size) {
  uint8_t* bytes = nullptr;
  if (value.IsConstant() || value.valueClass == ValueClass::address) {
    DescLocation* location = NewImplicit(size, &bytes);
    if (location == nullptr) {
      return nullptr;
    }
    const uint64_t number = uint64_t{value.high} << 32 | value.number;
    const bool isNegative = value.valueClass == ValueClass::signedConstant && number >> 63 != 0;
    for (uint32_t i = 0; i < size; ++i) {
      const auto byte = static_cast<uint8_t>(i < 8 ? number >> 8 * i : isNegative ? 0xFF : 0);
      bytes[cursor->IsLittleEndian() ? i : size - 1 - i] = byte;
    }
    return location;
  }
  if (!value.IsBlock() && value.valueClass != ValueClass::inlineText) {
    return nullptr;
  }
  DescLocation* location = NewImplicit(size, &bytes);
  if (location == nullptr) {
    return nullptr;
  }
  const uint32_t back = cursor->Offset();
  cursor->Seek(value.place);
  bool isEnded = false;
  const uint32_t length = value.IsBlock() ? value.number : cursor->TextLength(&isEnded);
  CopyBytes(cursor, bytes, std::min(length, size));
  cursor->Seek(back);
  return location;
}

DescLocation* ExpressionReader::MakeImplicitText(const char* text, uint32_t size) {
  uint8_t* bytes = nullptr;
  DescLocation* location = NewImplicit(size, &bytes);
  if (location != nullptr) {
    std::copy_n(text, std::min<size_t>(std::strlen(text), size), bytes);
  }
  return location;
}
