#include "dwarf1/types.h"

#include "dwarf1/basic_types.h"
#include "dwarf1/memory.h"
#include "dwarf1/text.h"
#include "records/empty_string.h"

namespace dwarf1 {
namespace {

constexpr int32_t POINTER_SIZE = 4;        // of every pointer, whatever the target's addresses are
constexpr uint32_t MODIFIER_LIMIT = 1024;  // modifiers that are honoured in front of one type

// Reads `count` modifiers; each pointer or reference is a record, the first of which goes into `slot` and each further
// one into the one before. Gives the slot of the modified type.
DescType** ReadModifiers(DescModule* module, int32_t count, DescType** slot) {
  for (int32_t i = 0; i < count; ++i) {
    if (i == static_cast<int32_t>(MODIFIER_LIMIT)) {
      Fail("too many modifiers");
      SkipBytes(static_cast<uint32_t>(count - i));
      break;
    }
    const uint32_t modifier = ReadU8();
    if (modifier == MOD_pointer_to || modifier == MOD_reference_to) {
      DescType* pointer = NewDwarf1Type(module, KIND_POINTER, POINTER_SIZE);
      pointer->name = EmptyString();
      *slot = pointer;
      slot = &pointer->target.type;
    }
  }
  return slot;
}

// A 2-byte length, which counts the modifiers and the type behind them.
uint32_t ReadModifiedType(DescModule* module, uint32_t name, DescType** slot) {
  const bool isFundamental = name == AT_mod_fund_type;
  const uint32_t length = ReadU16();
  slot = ReadModifiers(module, static_cast<int32_t>(length) - (isFundamental ? 2 : 4), slot);
  *slot = isFundamental ? BasicType(ReadU16()) : TypeForKey(module, ReadU32());
  return length + 2;
}

}  // namespace

char undefinedName[] = "undefined";

void ForgetTypes() {
  dwarf1State.typesByKey.Clear();
  dwarf1State.newestNoKey = nullptr;
}

DescType* NewDwarf1Type(DescModule* module, uint32_t kind, int32_t byteSize, uint32_t key) {
  auto* type = NewRecord<DescType>(module->heap);
  type->name = undefinedName;
  type->key = key;
  type->byteSize = byteSize;
  type->kind = kind;
  type->next = module->types;
  module->types = type;
  ++module->typeCount;
  if (key == NO_KEY) {
    dwarf1State.newestNoKey = type;
  } else if (!dwarf1State.typesByKey.Insert(key, type)) {
    throw std::bad_alloc();
  }
  return type;
}

DescType* FindType(uint32_t key) {
  if (key == NO_KEY) {
    return dwarf1State.newestNoKey;
  }
  return dwarf1State.typesByKey.Find<DescType>(key, [](const DescType*) { return true; });  // the hash is the key
}

DescType* TypeForKey(DescModule* module, uint32_t key) {
  DescType* type = FindType(key);
  return type != nullptr ? type : NewDwarf1Type(module, KIND_BASIC, 0, key);
}

DescType* DefineType(DescModule* module, uint32_t key, uint32_t kind, const char* name) {
  DescType* type = TypeForKey(module, key);
  type->name = const_cast<char*>(name);  // a record's name is only read
  type->byteSize = 0;
  type->kind = kind;
  type->target.word = 0;
  type->items.word = 0;
  type->element.word = 0;
  return type;
}

bool IsPlaceholder(const DescType& type) {
  return type.key != NO_KEY && type.kind == KIND_BASIC && type.target.word == 0 && type.byteSize == 0 &&
         type.name == undefinedName;
}

uint32_t ReadTypeAttribute(DescModule* module, uint32_t name, uint32_t form, DescType** slot) {
  switch (name) {
    case AT_fund_type: {
      uint32_t code = 0;
      const uint32_t consumed = ReadDataForm(form, &code);
      *slot = BasicType(code);
      return consumed;
    }
    case AT_user_def_type:
      *slot = TypeForKey(module, ReadU32());
      return 4;
    case AT_mod_fund_type:
    case AT_mod_u_d_type:
      return ReadModifiedType(module, name, slot);
    default:
      return SkipAttributeValue(form);
  }
}

void ReadTypedefEntry(DescModule* module, uint32_t key, uint32_t remaining, uint32_t* nextOffset) {
  DescType* type = DefineType(module, key, KIND_TYPEDEF, EmptyString());
  type->target.type = dwarf1State.undefinedType;
  const bool regular = ReadAttributes(remaining, nextOffset, [&](uint32_t name, uint32_t form) {
    switch (name) {
      case AT_name:
        return ReadName(module->heap, &type->name);
      case AT_byte_size:
        return ReadByteSize(form, &type->byteSize);
      default:
        return ReadTypeAttribute(module, name, form, &type->target.type);
    }
  });
  if (regular && type->byteSize != 0 && type->target.type != nullptr && type->target.type->kind == KIND_BASIC) {
    ApplyBasicTypeSize(type->name, type->byteSize);
  }
}

}  // namespace dwarf1
