// Types with members of their own: structures, unions and classes, enumerations.
#include "dwarf2/entries/entries.h"

namespace {

DescEnumerator* ReadEnumerator(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev) {
  auto* enumerator = NewEntryRecord<DescEnumerator>(module->heap);
  if (enumerator == nullptr) {
    return nullptr;
  }
  enumerator->name = EmptyString();
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    switch (pair.attribute) {
      case DW_AT_name: {
        char* name = ReadStringForm(image, pair.form, module->heap, 1);
        enumerator->name = name[0] != 0 ? name : FixedWord("enum");
        break;
      }
      case DW_AT_const_value:  // fixed-size forms are not extended by their sign
        enumerator->value = static_cast<int32_t>(ReadConstantForm(image, pair.form));
        break;
      default:
        SkipStep(image, pair.form);
        break;
    }
  }
  return enumerator;
}

}  // namespace

// Members and base classes share one list, in file order. Types declared inside land on the module's list.
void ReadDwarf2Aggregate(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  DescType* type = BeginType(module, abbrev, entryOffset);
  if (type == nullptr) {
    return;
  }
  for (const AbbrevAttribute& pair : StepsOf(abbrev)) {
    ReadTypeAttribute(image, module, pair, type);
  }
  ListTail<DescVar> members(&type->items.members);
  ListTail<DescProc> memberFunctions(&type->target.memberFunctions);
  ForEachChild(image, abbrev, [&](const AbbrevEntry* child, uint32_t childOffset) {
    switch (child->tag) {
      case DW_TAG_member:
      case DW_TAG_inheritance:
        members.Append(ReadDwarf2Variable(image, module, child));
        break;
      case DW_TAG_subprogram:
        memberFunctions.Append(ReadDwarf2Subprogram(image, module, child));
        break;
      default:
        ReadDwarf2Entry(image, module, child, childOffset);
        break;
    }
  });
}

// Named and sized as a basic type is; a DW_AT_type is dropped.
void ReadDwarf2Enumeration(ElfImage* image, DescModule* module, const AbbrevEntry* abbrev, uint32_t entryOffset) {
  ReadBaseType(image, module, abbrev, entryOffset);
  DescType* type = FindOrAddType(module, entryOffset);
  if (type == nullptr) {
    return;
  }
  type->target.word = 0;
  type->items.word = 0;
  ListTail<DescEnumerator> enumerators(&type->items.enumerators);
  ForEachChild(image, abbrev, [&](const AbbrevEntry* child, uint32_t) {
    if (child->tag == DW_TAG_enumerator) {
      enumerators.Append(ReadEnumerator(image, module, child));
    } else {
      SkipDwarf2Entry(image, child);
    }
  });
}
