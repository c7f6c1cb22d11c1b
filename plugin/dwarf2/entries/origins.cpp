// What an entry leaves to the one that it completes (DW_AT_specification) or is an instance of (DW_AT_abstract_origin):
// what the entry says itself wins.
#include <type_traits>

#include "dwarf2/entries/entry_walk.h"

namespace {

template <typename Field>
void TakeMissing(Field* field, Field other, Field blank) {
  if (*field == blank) {
    *field = other;
  }
}

void TakeMissing(DescProc* proc, const DescProc& other, const DescProc& blank) {
  TakeMissing(&proc->name, other.name, blank.name);
  TakeMissing(&proc->returnType, other.returnType, blank.returnType);
  TakeMissing(&proc->prototyped, other.prototyped, blank.prototyped);
  TakeMissing(&proc->callKind, other.callKind, blank.callKind);
  TakeMissing(&proc->segment, other.segment, blank.segment);
}

void TakeMissing(DescVar* variable, const DescVar& other, const DescVar& blank) {
  TakeMissing(&variable->name, other.name, blank.name);
  TakeMissing(&variable->type, other.type, blank.type);
  TakeMissing(&variable->location, other.location, blank.location);
  TakeMissing(&variable->segment, other.segment, blank.segment);
}

void TakeMissing(DescType* type, const DescType& other, const DescType& blank) {
  TakeMissing(&type->name, other.name, blank.name);
  TakeMissing(&type->byteSize, other.byteSize, blank.byteSize);
}

void TakeMissing(ScopeEntry* scope, const ScopeEntry& other, const ScopeEntry& blank) {
  TakeMissing(&scope->name, other.name, blank.name);
}

}  // namespace

// Goes along the entries that the last plan's entry refers to. Returns the last of them, whose place in the file says
// what encloses the entry; 0 when it refers to none.
template <typename Record>
uint32_t EntryWalk::Complete(RecordKind kind, Record* record, const Record& blank) {
  const bool hadFacts = hasFacts_;
  const EntryFacts own = hadFacts ? facts_ : EntryFacts{};
  ConstValue constValue = own.constValue;
  uint32_t last = 0;
  for (uint32_t jumps = 0; specification_ != 0 && !*failure_; ++jumps) {
    if (jumps == MAX_ORIGINS) {
      info_.Fail("DW_AT_specification and DW_AT_abstract_origin lead in a circle");
      break;
    }
    last = specification_;
    specification_ = 0;
    Record other = blank;
    ClearFacts();
    if (!RunPlanAt(last, kind, &other)) {
      break;
    }
    if constexpr (std::is_same_v<Record, DescType>) {
      pendingNames_.SettleAll();  // none may point into `other`
    }
    TakeMissing(record, other, blank);
    if (constValue.valueClass == ValueClass::absent) {
      constValue = facts_.constValue;
    }
  }
  const bool hasConstValue = constValue.valueClass != ValueClass::absent;
  if (hadFacts || hasFacts_) {
    facts_ = own;
  }
  facts_.constValue = constValue;
  hasFacts_ = hadFacts || hasConstValue;
  return last;
}

template uint32_t EntryWalk::Complete(RecordKind kind, DescProc* record, const DescProc& blank);
template uint32_t EntryWalk::Complete(RecordKind kind, DescVar* record, const DescVar& blank);
template uint32_t EntryWalk::Complete(RecordKind kind, DescType* record, const DescType& blank);
template uint32_t EntryWalk::Complete(RecordKind kind, ScopeEntry* record, const ScopeEntry& blank);
