// Variables, parameters, members and base classes, which are one record; and subprograms with their direct children.
// Scopes inside a subprogram are not modelled.
#include "dwarf2/entries/entry_walk.h"
#include "records/desc_proc.h"
#include "tarnixcore/list.h"

namespace {

// Extend settles bit fields when the whole module has been read.
void AddPendingField(DescModule* module, DescVar* variable, Failure* failure) {
  L_list*& pending = module->ext->pendingFields;
  if (pending == nullptr) {
    pending = L_Create(module->heap);
  }
  if (L_InsertData(pending, L_AT_HEAD, L_Nop, variable) == 0) {
    failure->NoteNoMemory();
  }
}

}  // namespace

DescVar* EntryWalk::ReadVariable(AbbrevEntry* entry) {
  if (unit_.rules->resolvesOrigins) {
    uint32_t origin = 0;
    return ReadPublishedVariable(entry, &origin);
  }
  auto* variable = heap_->New<DescVar>();
  if (variable == nullptr) {
    return nullptr;
  }
  variable->name = entry->tag == DW_TAG_inheritance ? FixedWord("baseclass") : EmptyString();
  variable->type = build_->undefinedType;
  isBitField_ = false;
  RunPlan(&info_, entry, RecordKind::variable, variable);
  if (specification_ != 0) {
    Chase(RecordKind::variable, variable);
  }
  if (isBitField_) {
    AddPendingField(module_, variable, failure_);
  }
  return variable;
}

DescProc* EntryWalk::ReadSubprogram(AbbrevEntry* entry) {
  DescProc* proc = NewDescProc(heap_, build_->voidType);
  if (proc == nullptr) {
    return nullptr;
  }
  RunPlan(&info_, entry, RecordKind::procedure, proc);
  if (specification_ != 0) {
    Chase(RecordKind::procedure, proc);
  }
  ListTail<DescVar> params(&proc->params);
  ListTail<DescVar> locals(&proc->locals);
  ListTail<DescCodeMark> codeMarks(&proc->codeMarks);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childOffset) {
    switch (child->tag) {
      case DW_TAG_formal_parameter:
        params.Append(ReadVariable(child));
        break;
      case DW_TAG_variable:
        locals.Append(ReadVariable(child));
        break;
      case TAG_VENDOR_CODE_MARK:
        codeMarks.Append(ReadCodeMark(child));
        break;
      default:  // types go on the module's list, all else is passed over
        ReadEntry(child, childOffset);
        break;
    }
  });
  return proc;
}

DescCodeMark* EntryWalk::ReadCodeMark(AbbrevEntry* entry) {
  auto* mark = heap_->New<DescCodeMark>();
  if (mark != nullptr) {
    RunPlan(&info_, entry, RecordKind::codeMark, mark);
  }
  return mark;
}
