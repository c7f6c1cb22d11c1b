// The walk as published: units, namespaces, procedures, blocks and inlined calls, as deep as they are nested.
#include <algorithm>

#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/entries/proc_scope.h"
#include "records/desc_proc.h"

namespace {

constexpr uint32_t LAST_ADDRESS = 0xFFFFFFFF;

bool IsSingleExpression(const DescLocation* location) {
  return location != nullptr && location->next == nullptr && location->lowPc == 0 && location->highPc == LAST_ADDRESS;
}

}  // namespace

// Reads the module's own unit, then what its entries take from other units.
void EntryWalk::ReadPublished(const UnitPlace& place) {
  ownPlace_ = &place;
  isOwnDone_ = isScanning_ = false;
  scope_ = nullptr;
  scopeNumber_ = ScopeNames::NONE;
  ownScopes_.Empty();
  otherScopes_.Empty();
  imports_.Empty();
  calls_.Empty();
  blockRanges_.Empty();
  aliases_.Empty();
  laterNames_.Empty();
  UnitLists lists(module_);
  lists_ = &lists;
  if (EnterUnit(place)) {
    ownScopes_.BeginUnit(place.start);
    types_.Begin(module_, place.start, place.end - place.start);
    ReadUnitEntries(place);
    isOwnDone_ = true;
    SettleNames();
    ReadImports();
    ReadReferredTypes();
    SettleAliases();
    SettleCalls();
  }
  lists.labels.MoveTo(module_);
  lists_ = nullptr;
}

void EntryWalk::ReadUnitEntries(const UnitPlace& place) {
  const uint32_t first = place.firstEntry - entryBase_;
  if (!place.hasChildren || first >= unitEnd_) {
    return;
  }
  info_.SeekKept(SectionOfUnit(), first, unitEnd_ - first);
  AbbrevEntry unit = {};
  unit.hasChildren = 1;
  ForEachChild(&unit, [&](AbbrevEntry* entry, uint32_t number) { ReadScopeEntry(entry, number, nullptr); });
  info_.Charge(info_.Offset() - first);
}

// An entry outside of procedures when `proc` is null, else one of a procedure.
void EntryWalk::ReadScopeEntry(AbbrevEntry* entry, uint32_t number, ProcScope* proc) {
  switch (entry->tag) {
    case DW_TAG_subprogram:
      ReadProcedure(entry, number, nullptr);
      break;
    case DW_TAG_variable:
    case DW_TAG_constant:
      ReadScopeVariable(entry, proc);
      break;
    case DW_TAG_formal_parameter:
    case DW_TAG_GNU_formal_parameter_pack:
      ReadParameter(entry, proc);
      break;
    case DW_TAG_label:
      ReadScopeLabel(entry, proc);
      break;
    case DW_TAG_namespace:
    case DW_TAG_module:
      ReadNamespace(entry, number, proc);
      break;
    case DW_TAG_common_block:
    case DW_TAG_lexical_block:
    case DW_TAG_try_block:
    case DW_TAG_catch_block:
    case DW_TAG_with_stmt:
      ReadBlock(entry, proc);
      break;
    case DW_TAG_inlined_subroutine:
      ReadInlinedCall(entry, proc);
      break;
    case DW_TAG_imported_unit:
      AddImport(entry);
      break;
    case TAG_VENDOR_CODE_MARK:
      if (proc != nullptr && proc->proc != nullptr) {
        proc->codeMarks.Append(ReadCodeMark(entry));
      } else {
        SkipEntry(entry);
      }
      break;
    default:
      ReadEntry(entry, number);
      break;
  }
}

// Declarations have no record. A variable of a procedure's instance that stands for inlined code has none either.
void EntryWalk::ReadScopeVariable(AbbrevEntry* entry, ProcScope* proc) {
  if (proc != nullptr && proc->proc == nullptr) {
    SkipEntry(entry);
    return;
  }
  uint32_t origin = 0;
  DescVar* variable = ReadPublishedVariable(entry, &origin);
  if (variable == nullptr || facts_.isDeclaration) {
    return;
  }
  if (proc != nullptr) {
    AddLocal(variable, proc);
  } else {
    Qualify(&variable->name, origin);
    lists_->vars.Append(variable);
  }
}

void EntryWalk::ReadParameter(AbbrevEntry* entry, ProcScope* proc) {
  if (entry->tag == DW_TAG_GNU_formal_parameter_pack) {
    RunPlan(&info_, entry, RecordKind::none, nullptr);
    ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childNumber) { ReadScopeEntry(child, childNumber, proc); });
    return;
  }
  if (proc == nullptr || proc->proc == nullptr) {
    SkipEntry(entry);
    return;
  }
  uint32_t origin = 0;
  DescVar* parameter = ReadPublishedVariable(entry, &origin);
  if (parameter == nullptr) {
    return;
  }
  if (proc->isDirect) {
    proc->params.Append(parameter);
  } else {
    AddLocal(parameter, proc);
  }
}

// A local of a block holds where the block's code is: a record of the location for each of its ranges.
void EntryWalk::AddLocal(DescVar* variable, ProcScope* proc) {
  DescLocation* location = variable->location;
  if (proc->rangeCount != 0 && IsSingleExpression(location)) {
    ListTail<DescLocation> tail(&location->next);
    for (uint32_t i = 0; i < proc->rangeCount; ++i) {
      const AddressRange& range = blockRanges_[proc->firstRange + i];
      if (i == 0) {
        location->lowPc = range.low;
        location->highPc = range.high;
      } else {
        tail.Append(heap_->New(DescLocation{nullptr, range.low, range.high, location->expression}));
      }
    }
  }
  proc->locals.Append(variable);
}

void EntryWalk::ReadScopeLabel(AbbrevEntry* entry, const ProcScope* proc) {
  if (proc != nullptr) {
    SkipEntry(entry);
    return;
  }
  DescProc* label = ReadLabel(entry);
  SkipChildren(entry);
  if (label != nullptr && !deadCode_->IsMark(label->lowPc, unit_.addressSize)) {
    lists_->labels.Insert(module_, label);
  }
}

void EntryWalk::ReadNamespace(AbbrevEntry* entry, uint32_t number, ProcScope* proc) {
  const ScopeEntry blank = {EmptyString(), 0, 0, 0, 0, 0};
  ScopeEntry scope = blank;
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::scope, &scope);
  const uint32_t origin = specification_ != 0 ? Complete(RecordKind::scope, &scope, blank) : 0;
  const OpenScope outer = EnterScope(entry->tag, number, scope.name, origin);
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t childNumber) { ReadScopeEntry(child, childNumber, proc); });
  LeaveScope(outer);
}

// The whole name of a scope is made when something in it asks for it, unless another entry says what encloses it.
EntryWalk::OpenScope EntryWalk::EnterScope(uint32_t tag, uint32_t number, char* name, uint32_t origin) {
  const OpenScope outer = {scope_, scopeNumber_, ScopeNames::NONE};
  if (!qualifies_) {
    return outer;
  }
  const bool isOwn = place_ == ownPlace_ && !isOwnDone_;
  char* whole = nullptr;
  if (!isOwn || origin != 0) {
    whole = ScopeName(tag, name, origin != 0 ? ScopeOf(origin) : CurrentScope());
  }
  scope_ = whole;
  scopeNumber_ = isOwn ? ownScopes_.Open(number, tag, name, whole) : ScopeNames::NONE;
  return {outer.name, outer.number, scopeNumber_};
}

void EntryWalk::LeaveScope(const OpenScope& outer) {
  ownScopes_.Close(outer.opened, info_.Offset() + entryBase_);
  scope_ = outer.name;
  scopeNumber_ = outer.number;
}

// Puts the ranges of the entry whose plan ran last on the stack. Without any the ranges around it go on to hold.
void EntryWalk::TakeRanges(const ScopeEntry& scope, ProcScope* proc) {
  const uint32_t first = blockRanges_.Count();
  if (proc->isThrownAway) {
    return;
  }
  if (facts_.ranges.valueClass != ValueClass::absent) {
    ranges_.Read(unit_, facts_.ranges, &blockRanges_);
  } else if (facts_.hasLowPc) {
    const uint32_t high = facts_.highPcIsSize ? scope.lowPc + scope.highPc : scope.highPc;
    if (scope.lowPc < high && !deadCode_->IsMark(scope.lowPc, unit_.addressSize) &&
        !blockRanges_.Push({scope.lowPc, high})) {
      failure_->NoteNoMemory();
    }
  } else {
    return;
  }
  proc->firstRange = first;
  proc->rangeCount = blockRanges_.Count() - first;
}

void EntryWalk::ReadBlock(AbbrevEntry* entry, ProcScope* proc) {
  ScopeEntry scope = {EmptyString(), 0, 0, 0, 0, 0};
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::scope, &scope);
  if (proc == nullptr) {
    ForEachChild(entry, [&](AbbrevEntry* child, uint32_t number) { ReadScopeEntry(child, number, nullptr); });
    return;
  }
  const BlockState outer = proc->Block();
  const uint32_t ranges = blockRanges_.Count();
  TakeRanges(scope, proc);
  proc->isDirect = false;
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t number) { ReadScopeEntry(child, number, proc); });
  blockRanges_.Resize(ranges);
  proc->SetBlock(outer);
}

// A call that became the code of the procedure that is called: a record for each range, and its variables as locals.
void EntryWalk::ReadInlinedCall(AbbrevEntry* entry, ProcScope* proc) {
  if (proc == nullptr || proc->proc == nullptr) {
    SkipEntry(entry);
    return;
  }
  const ScopeEntry blank = {EmptyString(), 0, 0, 0, 0, 0};
  ScopeEntry scope = blank;
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::scope, &scope);
  const uint32_t origin = specification_ != 0 ? Complete(RecordKind::scope, &scope, blank) : 0;
  const BlockState outer = proc->Block();
  const uint32_t ranges = blockRanges_.Count();
  proc->isDirect = false;
  ++proc->depth;
  const bool hasCode = facts_.hasLowPc || facts_.ranges.valueClass != ValueClass::absent;
  TakeRanges(scope, proc);
  if (hasCode) {
    AddCalls(scope, origin, *proc);
  }
  ForEachChild(entry, [&](AbbrevEntry* child, uint32_t number) { ReadScopeEntry(child, number, proc); });
  blockRanges_.Resize(ranges);
  proc->SetBlock(outer);
}

void EntryWalk::AddCalls(const ScopeEntry& scope, uint32_t origin, const ProcScope& proc) {
  for (uint32_t i = 0; i < proc.rangeCount; ++i) {
    const AddressRange& range = blockRanges_[proc.firstRange + i];
    auto* call = heap_->New<DescInlinedCall>();
    if (call == nullptr) {
      return;
    }
    *call = {nullptr,        scope.name,       range.low, range.high, sourceFiles_->FileOf(scope.callFile),
             scope.callLine, scope.callColumn, proc.depth};
    if (origin != 0) {
      Qualify(&call->name, origin);
    }
    if (!calls_.Push(call)) {
      failure_->NoteNoMemory();
    }
  }
}

// Links the calls of the module, ascending by address, outer before inner.
void EntryWalk::SettleCalls() {
  std::stable_sort(calls_.begin(), calls_.end(), [](const DescInlinedCall* first, const DescInlinedCall* second) {
    return first->lowPc != second->lowPc ? first->lowPc < second->lowPc : first->depth < second->depth;
  });
  ListTail<DescInlinedCall> list(&module_->ext->inlinedCalls);
  for (DescInlinedCall* call : calls_) {
    list.Append(call);
  }
}
