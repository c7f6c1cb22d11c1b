// Types: function types, derived and basic types, structures, unions, classes, enumerations.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/type_rows.h"

namespace {

constexpr int MADE_UP_NAME_SIZE = 32;
constexpr int32_t SIGN_OF_BYTE = 0x80;

// Word of a nameless basic type, by DescEncoding; with a size it reads word(size).
constexpr const char* encodingWords[] = {
    "unknown", "bool", "uchar", "schar", "unsigned", "signed", "float", "complex", "addr",
};
static_assert(std::size(encodingWords) == ENCODING_ADDRESS + 1);

constexpr uint32_t LAST_TYPE_TAG = DW_TAG_immutable_type;

}  // namespace

// An enumeration is named as a basic type is.
// clang-format off
constexpr EntryWalk::TypeRow EntryWalk::typeRows[] = {
    {DW_TAG_array_type,       KIND_ARRAY,     "array",        &EntryWalk::ReadArray},
    {DW_TAG_class_type,       KIND_CLASS,     "class",        &EntryWalk::ReadAggregate},
    {DW_TAG_enumeration_type, KIND_ENUM,      UNDEFINED_TYPE, &EntryWalk::ReadEnumeration},
    {DW_TAG_pointer_type,     KIND_POINTER,   "pointer",      &EntryWalk::ReadDerivedType},
    {DW_TAG_reference_type,   KIND_REFERENCE, "reference",    &EntryWalk::ReadDerivedType},
    {DW_TAG_structure_type,   KIND_STRUCT,    "struct",       &EntryWalk::ReadAggregate},
    {DW_TAG_subroutine_type,  KIND_FUNCTION,  "function",     &EntryWalk::ReadFunctionType},
    {DW_TAG_typedef,          KIND_TYPEDEF,   "typedef",      &EntryWalk::ReadDerivedType},
    {DW_TAG_union_type,       KIND_UNION,     "union",        &EntryWalk::ReadAggregate},
    {DW_TAG_base_type,        KIND_BASIC,     UNDEFINED_TYPE, &EntryWalk::ReadBasicType},
    {DW_TAG_const_type,       KIND_CONST,     "const",        &EntryWalk::ReadDerivedType},
    {DW_TAG_volatile_type,    KIND_VOLATILE,  "volatile",     &EntryWalk::ReadDerivedType},

    {DW_TAG_string_type,           KIND_ARRAY,     "array",       &EntryWalk::ReadStringType,  true},
    {DW_TAG_interface_type,        KIND_CLASS,     "class",       &EntryWalk::ReadAggregate,   true},
    {DW_TAG_rvalue_reference_type, KIND_REFERENCE, "reference",   &EntryWalk::ReadDerivedType, true},
    {DW_TAG_ptr_to_member_type,    KIND_POINTER,   "pointer",     &EntryWalk::ReadDerivedType, true},
    {DW_TAG_template_alias,        KIND_TYPEDEF,   "typedef",     &EntryWalk::ReadDerivedType, true},
    {DW_TAG_subrange_type,         KIND_TYPEDEF,   "subrange",    &EntryWalk::ReadDerivedType, true},
    {DW_TAG_generic_subrange,      KIND_TYPEDEF,   "subrange",    &EntryWalk::ReadDerivedType, true},
    {DW_TAG_restrict_type,         KIND_TYPEDEF,   "restrict",    &EntryWalk::ReadDerivedType, true},
    {DW_TAG_atomic_type,           KIND_TYPEDEF,   "atomic",      &EntryWalk::ReadDerivedType, true},
    {DW_TAG_packed_type,           KIND_TYPEDEF,   "packed",      &EntryWalk::ReadDerivedType, true},
    {DW_TAG_shared_type,           KIND_TYPEDEF,   "shared",      &EntryWalk::ReadDerivedType, true},
    {DW_TAG_immutable_type,        KIND_TYPEDEF,   "immutable",   &EntryWalk::ReadDerivedType, true},
    {DW_TAG_coarray_type,          KIND_TYPEDEF,   "coarray",     &EntryWalk::ReadDerivedType, true},
    {DW_TAG_dynamic_type,          KIND_TYPEDEF,   "dynamic",     &EntryWalk::ReadDerivedType, true},
    {DW_TAG_thrown_type,           KIND_TYPEDEF,   "thrown",      &EntryWalk::ReadDerivedType, true},
    {DW_TAG_unspecified_type,      KIND_BASIC,     "unspecified", &EntryWalk::ReadPlainType,   true},
    {DW_TAG_set_type,              KIND_BASIC,     "set",         &EntryWalk::ReadPlainType,   true},
    {DW_TAG_file_type,             KIND_BASIC,     "file",        &EntryWalk::ReadPlainType,   true},
};
// clang-format on

const EntryWalk::TypeRow* EntryWalk::FindTypeRow(uint32_t tag) const {
  struct RowByTag {
    uint8_t rows[LAST_TYPE_TAG + 1] = {};  // the row's number plus 1, 0 for none
    constexpr RowByTag() {
      for (size_t i = 0; i < std::size(typeRows); ++i) {
        rows[typeRows[i].tag] = static_cast<uint8_t>(i + 1);
      }
    }
  };
  static constexpr RowByTag byTag;
  if (tag > LAST_TYPE_TAG || byTag.rows[tag] == 0) {
    return nullptr;
  }
  const TypeRow& row = typeRows[byTag.rows[tag] - 1];
  return !row.isLater || unit_.rules->readsAllTypes ? &row : nullptr;
}

DescType* EntryWalk::BeginType(const AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = types_.FindOrAdd(entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  const TypeRow* row = FindTypeRow(entry->tag);
  if (type->name == UNDEFINED_TYPE) {
    types_.NoteDefinition();
  }
  type->name = FixedWord(row->word);
  type->byteSize = 0;
  type->kind = row->kind;
  type->target.word = 0;
  type->items.word = 0;
  type->element.word = 0;
  return type;
}

DescType* EntryWalk::ReadFunctionType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  type->target.type = build_->voidType;
  RunPlan(&info_, entry, RecordKind::functionType, type);
  ListTail<DescVar> params(&type->items.params);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childOffset) {
    if (child->tag == DW_TAG_formal_parameter) {
      params.Append(ReadVariable(child));
    } else {
      ReadEntry(child, childOffset);
    }
  });
  return type;
}

// With the loader's rules children are not walked: they follow as further entries of the same level.
DescType* EntryWalk::ReadDerivedType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  RunPlan(&info_, entry, RecordKind::derivedType, type);
  if (unit_.rules->readsAllTypes) {
    TakeSize(type, entry->tag);
    ReadNestedTypes(entry);
  }
  return type;
}

// The size of a derived type that has none of its own.
void EntryWalk::TakeSize(DescType* type, uint32_t tag) {
  if (type->byteSize != 0) {
    return;
  }
  switch (tag) {
    case DW_TAG_pointer_type:
    case DW_TAG_reference_type:
    case DW_TAG_rvalue_reference_type:
      type->byteSize = unit_.addressSize;
      break;
    case DW_TAG_ptr_to_member_type:
      type->byteSize = unit_.addressSize;
      Keep(&pending_.memberPointers, type);
      break;
    case DW_TAG_subrange_type:
    case DW_TAG_generic_subrange:
      AddSize(type, type->target.type);
      break;
    default:
      break;
  }
}

// Types among the children of an entry that is done. All else is passed over.
void EntryWalk::ReadNestedTypes(const AbbrevEntry* entry) {
  const bool isNameMadeUp = hasSettledName_;
  ForEachChild(entry, [this](AbbrevEntry* child, uint32_t childOffset) { ReadEntry(child, childOffset); });
  hasSettledName_ = isNameMadeUp;
}

// A type of which only name and size are known.
DescType* EntryWalk::ReadPlainType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type != nullptr) {
    RunPlan(&info_, entry, RecordKind::basicType, type);
    ReadNestedTypes(entry);
  }
  return type;
}

DescType* EntryWalk::ReadBasicType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginBasicType(entry, entryOffset);
  if (type != nullptr && unit_.rules->readsAllTypes) {
    ReadNestedTypes(entry);
  }
  return type;
}

DescType* EntryWalk::BeginBasicType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  RunPlan(&info_, entry, RecordKind::basicType, type);
  if (specification_ != 0) {  // an enumeration that completes a declaration
    DescType blank = {};
    blank.name = FixedWord(UNDEFINED_TYPE);
    const uint32_t origin = Complete(RecordKind::basicType, type, blank);
    if (type->name != UNDEFINED_TYPE) {
      Qualify(&type->name, origin);
      hasSettledName_ = true;
    }
  }
  if (type->name == UNDEFINED_TYPE) {
    MakeUpName(type);
    hasSettledName_ = true;
  }
  return type;
}

// Without memory for it the type keeps its fixed word, and nothing fails.
void EntryWalk::MakeUpName(DescType* type) {
  char text[MADE_UP_NAME_SIZE];
  const char* word = encodingWords[type->items.encoding];
  if (type->byteSize == 0) {
    std::snprintf(text, sizeof(text), "%s", word);
  } else {
    std::snprintf(text, sizeof(text), "%s(%ld)", word, static_cast<long>(type->byteSize));
  }
  const size_t length = std::strlen(text);
  char* name = heap_->TryNewText(length);
  if (name != nullptr) {
    std::memcpy(name, text, length + 1);
    type->name = name;
  }
}

// Members and base classes share one list, in file order. Types declared inside go on the module's list.
DescType* EntryWalk::ReadAggregate(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  if (unit_.rules->walksScopes) {
    ReadPublishedAggregate(entry, entryOffset, type);
    return type;
  }
  RunPlan(&info_, entry, RecordKind::aggregate, type);
  ListTail<DescVar> members(&type->items.members);
  ListTail<DescProc> memberFunctions(&type->target.memberFunctions);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childOffset) {
    switch (child->tag) {
      case DW_TAG_member:
      case DW_TAG_inheritance:
        members.Append(ReadVariable(child));
        break;
      case DW_TAG_subprogram:
        memberFunctions.Append(ReadSubprogram(child));
        break;
      default:
        ReadEntry(child, childOffset);
        break;
    }
  });
  return type;
}

// The members of a variant part and of its variants are members of the structure around them.
void EntryWalk::ReadVariantPart(AbbrevEntry* entry, ListTail<DescVar>* members) {
  RunPlan(&info_, entry, RecordKind::none, nullptr);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childOffset) {
    switch (child->tag) {
      case DW_TAG_member:
        AppendMember(child, members);
        break;
      case DW_TAG_variant:
      case DW_TAG_variant_part:
        ReadVariantPart(child, members);
        break;
      default:
        ReadEntry(child, childOffset);
        break;
    }
  });
}

// Named and sized as a basic type is; a DW_AT_type is dropped, but as published it gives size and sign.
DescType* EntryWalk::ReadEnumeration(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginBasicType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  const DescType* base = unit_.rules->readsAllTypes ? type->target.type : nullptr;
  const uint32_t encoding = unit_.rules->readsAllTypes ? type->items.encoding : uint32_t{ENCODING_NONE};
  const bool mayBeSigned = base != nullptr || encoding != ENCODING_NONE;
  if (base != nullptr && type->byteSize == 0) {
    AddSize(type, base);
  }
  type->target.word = 0;
  type->items.word = 0;
  ListTail<DescEnumerator> enumerators(&type->items.enumerators);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t) {
    if (child->tag != DW_TAG_enumerator) {
      SkipEntry(child);
      return;
    }
    auto* enumerator = heap_->New<DescEnumerator>();
    if (enumerator != nullptr) {
      enumerator->name = EmptyString();
      RunPlan(&info_, child, RecordKind::enumerator, enumerator);
      if (mayBeSigned && enumerator->value >= SIGN_OF_BYTE && enumerator->value <= UINT16_MAX) {
        TakeSign(enumerator, child, base, encoding);
      }
    }
    enumerators.Append(enumerator);
  });
  return type;
}

// Forms of 1 and 2 bytes leave it to the enumeration whether the highest bit is a sign.
void EntryWalk::TakeSign(DescEnumerator* enumerator, const AbbrevEntry* entry, const DescType* base,
                         uint32_t encoding) {
  const AbbrevAttribute* attribute = abbrevs_->Attributes(entry);
  const AbbrevAttribute* end = attribute + entry->attributeCount;
  attribute =
      std::find_if(attribute, end, [](const AbbrevAttribute& one) { return one.attribute == DW_AT_const_value; });
  if (attribute == end || (attribute->form != DW_FORM_data1 && attribute->form != DW_FORM_data2)) {
    return;
  }
  const uint8_t size = attribute->form == DW_FORM_data1 ? 1 : 2;
  if (encoding == ENCODING_SIGNED || encoding == ENCODING_SIGNED_CHAR) {
    ExtendBySign(enumerator, size);
  } else if (base != nullptr && encoding == ENCODING_NONE) {
    AddEnumerator(enumerator, base, size);
  }
}
