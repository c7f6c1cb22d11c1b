// Types: arrays, function types, derived and basic types, structures, unions, classes, enumerations.
#include <cstdio>
#include <iterator>

#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/type_rows.h"

namespace {

constexpr int MADE_UP_NAME_SIZE = 32;

// Word of a nameless basic type, by DescEncoding; with a size it reads word(size).
constexpr const char* encodingWords[] = {
    "unknown", "bool", "uchar", "schar", "unsigned", "signed", "float", "complex", "addr",
};
static_assert(std::size(encodingWords) == ENCODING_ADDRESS + 1);

constexpr uint32_t LAST_TYPE_TAG = DW_TAG_volatile_type;

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
};
// clang-format on

const EntryWalk::TypeRow* EntryWalk::FindTypeRow(uint32_t tag) {
  struct RowByTag {
    uint8_t rows[LAST_TYPE_TAG + 1] = {};  // the row's number plus 1, 0 for none
    constexpr RowByTag() {
      for (size_t i = 0; i < std::size(typeRows); ++i) {
        rows[typeRows[i].tag] = static_cast<uint8_t>(i + 1);
      }
    }
  };
  static constexpr RowByTag byTag;
  return tag <= LAST_TYPE_TAG && byTag.rows[tag] != 0 ? &typeRows[byTag.rows[tag] - 1] : nullptr;
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

DescType* EntryWalk::ReadArray(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  type->element.type = build_->undefinedType;
  RunPlan(&info_, entry, RecordKind::array, type);
  ListTail<DescDimension> dimensions(&type->items.dimensions);
  uint32_t count = 0;
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childOffset) {
    if (child->tag == DW_TAG_subrange_type) {
      auto* dimension = heap_->New<DescDimension>();
      if (dimension != nullptr) {
        RunPlan(&info_, child, RecordKind::dimension, dimension);
      }
      dimensions.Append(dimension);
      ++count;
    } else if (child->tag == DW_TAG_enumeration_type) {
      // A dimension given by an enumeration: a type of its own, and no dimension comes of it.
      ReadEntry(child, childOffset);
    } else {
      SkipEntry(child);
    }
  });
  type->target.count = type->items.dimensions != nullptr ? count - 1 : 0;
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

// Children are not walked: they follow as further entries of the same level.
DescType* EntryWalk::ReadDerivedType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type != nullptr) {
    RunPlan(&info_, entry, RecordKind::derivedType, type);
  }
  return type;
}

DescType* EntryWalk::ReadBasicType(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = BeginType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
  }
  RunPlan(&info_, entry, RecordKind::basicType, type);
  if (type->name == UNDEFINED_TYPE) {
    MakeUpName(type);
    isNameMadeUp_ = true;
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

// Named and sized as a basic type is; a DW_AT_type is dropped.
DescType* EntryWalk::ReadEnumeration(AbbrevEntry* entry, uint32_t entryOffset) {
  DescType* type = ReadBasicType(entry, entryOffset);
  if (type == nullptr) {
    return nullptr;
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
    }
    enumerators.Append(enumerator);
  });
  return type;
}
