// Procedures as published: where their code is, which of them are records, and their variables as published.
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/proc_scope.h"
#include "records/desc_proc.h"

namespace {

bool HasCode(const EntryFacts& facts) {
  return facts.hasLowPc || facts.ranges.valueClass != ValueClass::absent;
}

// Declarations, and what only stands for inlined code, make no record.
bool HasRecord(const EntryFacts& facts, uint32_t origin) {
  return HasCode(facts) || !(facts.isDeclaration || facts.isAbstract || origin != 0);
}

}  // namespace

// The code of a procedure goes to `lowPc` and `highPc`: of several ranges the one that holds the entry address, else
// the first. The others are left in blockRanges_, from `*others` on.
void EntryWalk::SetCode(DescProc* proc, const EntryFacts& facts, uint32_t* others) {
  *others = blockRanges_.Count();
  if (facts.highPcIsSize) {
    proc->highPc += proc->lowPc;
  }
  if (facts.ranges.valueClass != ValueClass::absent) {
    ranges_.Read(unit_, facts.ranges, &blockRanges_);
    proc->lowPc = proc->highPc = 0;
    for (uint32_t i = *others; i < blockRanges_.Count(); ++i) {
      AddressRange& range = blockRanges_[i];
      const bool holdsEntry = facts.hasEntryPc && range.low <= facts.entryPc && facts.entryPc < range.high;
      if (i == *others || holdsEntry) {
        proc->lowPc = range.low;
        proc->highPc = range.high;
      }
    }
  } else if (deadCode_->IsMark(proc->lowPc, unit_.addressSize) || proc->highPc < proc->lowPc) {
    proc->lowPc = proc->highPc = 0;
  }
}

// A procedure of the unit, or with `members` one of a class: that is a record of its class, and with code one of the
// unit too.
void EntryWalk::ReadProcedure(AbbrevEntry* entry, ListTail<DescProc>* members) {
  DescProc* proc = NewDescProc(heap_, build_->voidType);
  if (proc == nullptr) {
    return;
  }
  const DescProc blank = *proc;
  facts_ = {};
  RunPlan(&info_, entry, RecordKind::procedure, proc);
  const uint32_t origin = specification_ != 0 ? Complete(RecordKind::procedure, proc, blank) : 0;
  const EntryFacts facts = facts_;
  const uint32_t ranges = blockRanges_.Count();
  uint32_t others = 0;
  SetCode(proc, facts, &others);
  const bool hasRecord = members != nullptr ? HasCode(facts) : HasRecord(facts, origin);
  DescProc* unitProc = hasRecord ? proc : nullptr;
  if (members != nullptr) {
    members->Append(proc);
    unitProc = hasRecord ? heap_->New(*proc) : nullptr;
  }
  if (unitProc != nullptr) {
    unitProc->next = nullptr;
    unitProc->name = Qualified(unitProc->name, ScopeOfRecord(origin));
    lists_->procs.Append(unitProc);
    AppendFurtherRanges(*unitProc, others);
  }
  blockRanges_.Resize(ranges);
  ProcScope scope(members != nullptr ? proc : unitProc);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t number) { ReadScopeEntry(child, number, &scope); });
  if (members != nullptr && unitProc != nullptr) {
    unitProc->params = proc->params;
    unitProc->locals = proc->locals;
    unitProc->codeMarks = proc->codeMarks;
  }
}

// Each further range of the code is a record of the same name.
void EntryWalk::AppendFurtherRanges(const DescProc& proc, uint32_t first) {
  for (uint32_t i = first; i < blockRanges_.Count(); ++i) {
    const AddressRange range = blockRanges_[i];
    if (range.low == proc.lowPc && range.high == proc.highPc) {
      continue;
    }
    DescProc* part = NewDescProc(heap_, proc.returnType);
    if (part == nullptr) {
      return;
    }
    part->name = proc.name;
    part->prototyped = proc.prototyped;
    part->frameBase = proc.frameBase;
    part->callKind = proc.callKind;
    part->segment = proc.segment;
    part->lowPc = range.low;
    part->highPc = range.high;
    lists_->procs.Append(part);
  }
}

// Leaves the facts of the entry for the caller. `origin` is the entry that says what encloses the variable, or 0.
DescVar* EntryWalk::ReadPublishedVariable(AbbrevEntry* entry, uint32_t* origin) {
  auto* variable = heap_->New<DescVar>();
  if (variable == nullptr) {
    SkipEntry(entry);
    facts_ = {};
    return nullptr;
  }
  variable->name = entry->tag == DW_TAG_inheritance ? FixedWord("baseclass") : EmptyString();
  variable->type = build_->undefinedType;
  const DescVar blank = *variable;
  facts_ = {};
  RunPlan(&info_, entry, RecordKind::variable, variable);
  *origin = specification_ != 0 ? Complete(RecordKind::variable, variable, blank) : 0;
  if (entry->tag == DW_TAG_member) {
    AddBitField(variable);
  } else {
    AddConstant(variable);
  }
  SkipChildren(entry);
  return variable;
}
