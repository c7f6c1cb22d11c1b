// Structures, unions and classes as published: completed by what they refer to, with names of what encloses them.
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/proc_scope.h"

void EntryWalk::ReadPublishedAggregate(AbbrevEntry* entry, uint32_t number, DescType* type) {
  const DescType blank = *type;
  facts_ = {};
  RunPlan(&info_, entry, RecordKind::aggregate, type);
  const uint32_t origin = specification_ != 0 ? Complete(RecordKind::aggregate, type, blank) : 0;
  const bool hasName = type->name != blank.name && type->name[0] != 0;
  char* ownName = hasName ? type->name : EmptyString();
  const char* around = ScopeOfRecord(origin);
  if (hasName) {
    type->name = Qualified(type->name, around);
  }
  ListTail<DescVar> members(&type->items.members);
  ListTail<DescProc> memberFunctions(&type->target.memberFunctions);
  const OpenScope outer = EnterScope(entry->tag, number, ownName, around);
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
        ReadProcedure(child, &memberFunctions);
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
