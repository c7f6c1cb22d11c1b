// Arrays, function types, derived types and basic types.
#include <cstdio>
#include <iterator>

#include "dwarf2/entries/entries.h"

namespace {

constexpr int32_t BITS_PER_BYTE = 8;
constexpr uint32_t ADDRESS_CLASS_FLAGGED = 1;  // the one DW_AT_address_class that leaves a trace
constexpr int MADE_UP_NAME_SIZE = 32;

// DescEncoding by DW_ATE_ value; other values leave the encoding as it is.
constexpr uint32_t encodingRows[] = {
    ENCODING_NONE,           // 0
    ENCODING_ADDRESS,        // DW_ATE_address
    ENCODING_BOOLEAN,        // DW_ATE_boolean
    ENCODING_COMPLEX,        // DW_ATE_complex_float
    ENCODING_FLOAT,          // DW_ATE_float
    ENCODING_SIGNED,         // DW_ATE_signed
    ENCODING_SIGNED_CHAR,    // DW_ATE_signed_char
    ENCODING_UNSIGNED,       // DW_ATE_unsigned
    ENCODING_UNSIGNED_CHAR,  // DW_ATE_unsigned_char
};
static_assert(std::size(encodingRows) == DW_ATE_unsigned_char + 1);

// Word of a nameless basic type, by DescEncoding; with a size it reads word(size).
constexpr const char* encodingWords[] = {
    "unknown", "bool", "uchar", "schar", "unsigned", "signed", "float", "complex", "addr",
};
static_assert(std::size(encodingWords) == ENCODING_ADDRESS + 1);

void ReadArrayAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, DescType* type) {
  switch (pair.attribute) {
    case DW_AT_byte_size: {
      const auto size = static_cast<int32_t>(ReadConstantForm(image, pair.form));
      type->byteSize = type->byteSize == 0 ? size : type->byteSize;
      break;
    }
    case DW_AT_stride_size: {
      const auto bits = static_cast<int32_t>(ReadConstantForm(image, pair.form));
      type->byteSize = -(bits / BITS_PER_BYTE);
      break;
    }
    case DW_AT_type:
      type->element.type = ReadTypeReference(image, module, pair.form);
      break;
    default:
      ReadTypeAttribute(image, module, pair, type);
      break;
  }
}

// A missing bound is 0. A dimension without any, or with a count only, so has one element.
DescDimension* ReadSubrange(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev) {
  auto* dimension = NewEntryRecord<DescDimension>(module->heap);
  if (dimension == nullptr) {
    return nullptr;
  }
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    switch (pair.attribute) {
      case DW_AT_lower_bound:
        dimension->low = static_cast<int32_t>(ReadConstantForm(image, pair.form));
        break;
      case DW_AT_upper_bound:
        dimension->high = static_cast<int32_t>(ReadConstantForm(image, pair.form));
        break;
      default:
        SkipStep(image, pair.form);
        break;
    }
  }
  return dimension;
}

void ReadBaseTypeAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, DescType* type) {
  switch (pair.attribute) {
    case DW_AT_encoding: {
      const uint32_t value = ReadConstantForm(image, pair.form);
      if (value != 0 && value < std::size(encodingRows)) {
        type->items.encoding = encodingRows[value];
      }
      break;
    }
    case DW_AT_type:
      type->target.type = ReadTypeReference(image, module, pair.form);
      break;
    default:
      ReadTypeAttribute(image, module, pair, type);
      break;
  }
}

// Without memory for it the type keeps its fixed word.
void MakeUpName(DescModule* module, DescType* type) {
  char text[MADE_UP_NAME_SIZE];
  const char* word = encodingWords[type->items.encoding];
  if (type->byteSize == 0) {
    std::snprintf(text, sizeof(text), "%s", word);
  } else {
    std::snprintf(text, sizeof(text), "%s(%ld)", word, static_cast<long>(type->byteSize));
  }
  const size_t size = std::strlen(text) + 1;
  auto* name = static_cast<char*>(HEAP_Get(module->heap, size));
  if (name != nullptr) {
    std::memcpy(name, text, size);
    type->name = name;
  }
}

}  // namespace

DescType* BeginType(DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  DescType* type = FindOrAddType(module, entryOffset);
  const TypeTagRow* row = FindTypeTag(abbrev->tag);
  if (type == nullptr || row == nullptr) {
    return nullptr;
  }
  type->name = FixedWord(row->word);
  type->byteSize = 0;
  type->kind = row->kind;
  type->target.word = 0;
  type->items.word = 0;
  type->element.word = 0;
  return type;
}

void ReadTypeAttribute(ElfImage* image, DescModule* module, const AbbrevAttribute& pair, DescType* type) {
  if (pair.attribute == DW_AT_name) {
    char* name = ReadStringForm(image, pair.form, module->heap, 1);
    type->name = name[0] != 0 ? name : type->name;
  } else if (pair.attribute == DW_AT_byte_size) {
    type->byteSize = static_cast<int32_t>(ReadConstantForm(image, pair.form));
  } else {
    SkipStep(image, pair.form);
  }
}

void ReadDwarf2Array(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  DescType* type = BeginType(module, abbrev, entryOffset);
  if (type == nullptr) {
    return;
  }
  type->element.type = dwarf2State.undefinedType;
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    ReadArrayAttribute(image, module, pair, type);
  }
  ListTail<DescDimension> dimensions(&type->items.dimensions);
  uint32_t count = 0;
  ForEachChild(image, abbrev, [&](const AbbrevEntry* child, uint32_t childOffset) {
    if (child->tag == DW_TAG_subrange_type) {
      dimensions.Append(ReadSubrange(image, module, child));
      ++count;
    } else if (child->tag == DW_TAG_enumeration_type) {
      // A dimension given by an enumeration: a type of its own, and no dimension comes of it.
      ReadDwarf2Entry(image, module, child, childOffset);
    } else {
      SkipDwarf2Entry(image, child);
    }
  });
  type->target.count = type->items.dimensions != nullptr ? count - 1 : 0;
}

void ReadDwarf2FunctionType(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  DescType* type = BeginType(module, abbrev, entryOffset);
  if (type == nullptr) {
    return;
  }
  type->target.type = dwarf2State.voidType;
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    switch (pair.attribute) {
      case DW_AT_prototyped:
        type->element.prototyped = ReadFlagForm(image, pair.form);
        break;
      case DW_AT_type:
        type->target.type = ReadTypeReference(image, module, pair.form);
        break;
      default:
        ReadTypeAttribute(image, module, pair, type);
        break;
    }
  }
  ListTail<DescVar> params(&type->items.params);
  ForEachChild(image, abbrev, [&](const AbbrevEntry* child, uint32_t childOffset) {
    if (child->tag == DW_TAG_formal_parameter) {
      params.Append(ReadDwarf2Variable(image, module, child));
    } else {
      ReadDwarf2Entry(image, module, child, childOffset);
    }
  });
}

// Children are not walked: they follow as further entries of the same level.
void ReadDerivedType(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  DescType* type = BeginType(module, abbrev, entryOffset);
  if (type == nullptr) {
    return;
  }
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    switch (pair.attribute) {
      case DW_AT_address_class:
        if (ReadConstantForm(image, pair.form) == ADDRESS_CLASS_FLAGGED) {
          type->element.flags.flags |= TYPE_FLAG_ADDRESS_CLASS;
        }
        break;
      case DW_AT_type:
        type->target.type = ReadTypeReference(image, module, pair.form);
        break;
      default:
        ReadTypeAttribute(image, module, pair, type);
        break;
    }
  }
}

void ReadBaseType(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  DescType* type = BeginType(module, abbrev, entryOffset);
  if (type == nullptr) {
    return;
  }
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    ReadBaseTypeAttribute(image, module, pair, type);
  }
  if (type->name == UNDEFINED_TYPE) {
    MakeUpName(module, type);
  }
}
