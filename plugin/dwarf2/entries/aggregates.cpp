// Structures, unions and classes as published: completed by what they refer to, with names of what encloses them.
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/proc_scope.h"

void EntryWalk::ReadPublishedAggregate(AbbrevEntry* entry, uint32_t number, DescType* type) {
  char* const word = type->name;
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::aggregate, type);
  uint32_t origin = 0;
  if (specification_ != 0) {
    DescType blank = {};
    blank.name = word;
    origin = Complete(RecordKind::aggregate, type, blank);
  }
  char* const ownName = type->name != word ? type->name : EmptyString();
  if (type->name != word) {
    Qualify(&type->name, origin);
  }
  ListTail<DescVar> members(&type->items.members);
  ListTail<DescProc> memberFunctions(&type->target.memberFunctions);
  const OpenScope outer = EnterScope(entry->tag, number, ownName, origin);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childNumber) {
    switch (child->tag) {
      case DW_TAG_member:
      case DW_TAG_inheritance:
        AppendMember(child, &members);
        break;
      case DW_TAG_variant_part:
        ReadVariantPart(child, &members);
        break;
      case DW_TAG_variable:  // a static member
        SkipEntry(child);
        break;
      case DW_TAG_subprogram:
        ReadProcedure(child, childNumber, &memberFunctions);
        break;
      default:
        ReadEntry(child, childNumber);
        break;
    }
  });
  LeaveScope(outer);
}

// A static member, which has no place in the structure, is no member.
void EntryWalk::AppendMember(AbbrevEntry* entry, ListTail<DescVar>* members) {
  uint32_t origin = 0;
  DescVar* member = ReadPublishedVariable(entry, &origin);
  if (member != nullptr && !IsStaticMember(member)) {
    members->Append(member);
  }
}
