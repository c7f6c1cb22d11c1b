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
// the first. All are left in blockRanges_, after those that are there.
void EntryWalk::SetCode(DescProc* proc, const EntryFacts& facts) {
  const uint32_t first = blockRanges_.Count();
  if (facts.highPcIsSize) {
    proc->highPc += proc->lowPc;
  }
  if (facts.ranges.valueClass != ValueClass::absent) {
    ranges_.Read(unit_, facts.ranges, &blockRanges_);
    uint32_t entryPc = facts.entryPc;
    if (facts.entryPcIsDistance && blockRanges_.Count() != first) {
      entryPc += facts.hasLowPc ? proc->lowPc : blockRanges_[first].low;
    }
    proc->lowPc = proc->highPc = 0;
    for (uint32_t i = first; i < blockRanges_.Count(); ++i) {
      const AddressRange& range = blockRanges_[i];
      const bool holdsEntry = facts.hasEntryPc && range.low <= entryPc && entryPc < range.high;
      if (i == first || holdsEntry) {
        proc->lowPc = range.low;
        proc->highPc = range.high;
      }
    }
  } else if (deadCode_->IsMark(proc->lowPc, unit_.addressSize) || proc->highPc < proc->lowPc) {
    proc->lowPc = proc->highPc = 0;
  }
  proc->lowPc &= build_->codeMask;
  proc->highPc &= build_->codeMask;
}

// A procedure of the unit, or with `members` one of a class: that is a record of its class, and with code one of the
// unit too.
void EntryWalk::ReadProcedure(AbbrevEntry* entry, uint32_t number, ListTail<DescProc>* members) {
  DescProc* proc = NewDescProc(heap_, build_->voidType);
  if (proc == nullptr) {
    return;
  }
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::procedure, proc);
  uint32_t origin = 0;
  if (specification_ != 0) {
    DescProc blank = {};
    blank.name = EmptyString();
    blank.returnType = build_->voidType;
    origin = Complete(RecordKind::procedure, proc, blank);
  }
  const uint32_t ranges = blockRanges_.Count();
  const bool hasCode = HasCode(facts_);
  if (hasCode) {
    SetCode(proc, facts_);
  }
  const bool isThrownAway = hasCode && proc->highPc == 0;
  const bool hasRecord = members != nullptr ? hasCode : HasRecord(facts_, origin);
  DescProc* unitProc = hasRecord ? proc : nullptr;
  if (members != nullptr) {
    members->Append(proc);
    unitProc = hasRecord ? heap_->New(*proc) : nullptr;
  }
  if (unitProc != nullptr) {
    unitProc->next = nullptr;
    if (unitProc->name[0] == 0) {
      unitProc->name = LinkageNameOf(number, origin);
    } else {
      Qualify(&unitProc->name, origin);
    }
    lists_->procs.Append(unitProc);
    AppendFurtherRanges(*unitProc, origin, ranges);
  }
  blockRanges_.Resize(ranges);
  ProcScope scope(members != nullptr ? proc : unitProc);
  scope.isThrownAway = isThrownAway;
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childNumber) { ReadScopeEntry(child, childNumber, &scope); });
  if (members != nullptr && unitProc != nullptr) {
    unitProc->params = proc->params;
    unitProc->locals = proc->locals;
    unitProc->codeMarks = proc->codeMarks;
  }
}

// The name by which linkers know a procedure that has no other, as those have that compilers make up.
char* EntryWalk::LinkageNameOf(uint32_t number, uint32_t origin) {
  ScopeEntry entry = {EmptyString(), 0, 0, 0, 0, 0};
  if (RunPlanAt(number, RecordKind::linkageName, &entry) && entry.name[0] == 0 && origin != 0) {
    RunPlanAt(origin, RecordKind::linkageName, &entry);
  }
  return entry.name;
}

// Each further range of the code is a record of the same name.
void EntryWalk::AppendFurtherRanges(const DescProc& proc, uint32_t origin, uint32_t first) {
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
    if (origin > info_.Offset() + entryBase_) {
      Qualify(&part->name, origin);  // the procedure's own name is still to be settled
    }
    lists_->procs.Append(part);
  }
}

// Leaves the facts of the entry for the caller. `origin` is the entry that says what encloses the variable, or 0.
DescVar* EntryWalk::ReadPublishedVariable(AbbrevEntry* entry, uint32_t* origin) {
  auto* variable = heap_->New<DescVar>();
  if (variable == nullptr) {
    SkipEntry(entry);
    ClearFacts();
    return nullptr;
  }
  variable->name = entry->tag == DW_TAG_inheritance ? FixedWord("baseclass") : EmptyString();
  variable->type = build_->undefinedType;
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::variable, variable);
  *origin = 0;
  if (specification_ != 0) {
    DescVar blank = {};
    blank.name = EmptyString();
    blank.type = build_->undefinedType;
    *origin = Complete(RecordKind::variable, variable, blank);
  }
  if (hasFacts_) {
    if (entry->tag == DW_TAG_member) {
      AddBitField(variable);
    } else {
      AddConstant(variable);
    }
  }
  SkipChildren(entry);
  return variable;
}
