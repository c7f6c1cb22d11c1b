// Qualified names: what encloses an entry, in front of its own name.
#include <algorithm>

#include "dwarf2/entries/entry_walk.h"

namespace {

constexpr char SEPARATOR[] = "::";
constexpr size_t SEPARATOR_LENGTH = sizeof(SEPARATOR) - 1;

// What stands for a scope without a name.
const char* WordOfScope(uint32_t tag) {
  switch (tag) {
    case DW_TAG_class_type:
      return "(anonymous class)";
    case DW_TAG_structure_type:
      return "(anonymous struct)";
    case DW_TAG_union_type:
      return "(anonymous union)";
    default:
      return "(anonymous namespace)";
  }
}

}  // namespace

bool EntryWalk::IsNamingScope(uint32_t tag) {
  switch (tag) {
    case DW_TAG_namespace:
    case DW_TAG_module:
    case DW_TAG_class_type:
    case DW_TAG_structure_type:
    case DW_TAG_union_type:
    case DW_TAG_interface_type:
      return true;
    default:
      return false;
  }
}

// An empty name, and one that nothing encloses, is as it was.
char* EntryWalk::Qualified(char* name, const char* scope) {
  if (scope == nullptr || name[0] == 0) {
    return name;
  }
  const size_t scopeLength = std::strlen(scope);
  const size_t length = std::strlen(name);
  char* text = heap_->NewText(scopeLength + SEPARATOR_LENGTH + length);
  if (text == nullptr) {
    return name;
  }
  char* end = std::copy_n(scope, scopeLength, text);
  end = std::copy_n(SEPARATOR, SEPARATOR_LENGTH, end);
  std::copy_n(name, length, end);
  return text;
}

char* EntryWalk::ScopeName(uint32_t tag, char* name, const char* scope) {
  return Qualified(name[0] != 0 ? name : FixedWord(WordOfScope(tag)), scope);
}

// With what encloses it.
char* EntryWalk::WholeName(ScopeNames* scopes, uint32_t number) {
  if (number == ScopeNames::NONE) {
    return nullptr;
  }
  if ((*scopes)[number].whole == nullptr) {
    const char* around = WholeName(scopes, (*scopes)[number].parent);
    ScopeNames::Scope& scope = (*scopes)[number];
    scope.whole = ScopeName(scope.tag, scope.name, around);
  }
  return (*scopes)[number].whole;
}

// What encloses an entry, of which the walk may not have come by. Null for nothing.
char* EntryWalk::ScopeOf(uint32_t number) {
  const bool isOwn = number >= ownPlace_->start && number < ownPlace_->end;
  if (isOwn && (isOwnDone_ || number < info_.Offset() + entryBase_) && !isScanning_) {
    return qualifies_ ? WholeName(&ownScopes_, ownScopes_.Find(ownPlace_->start, number)) : nullptr;
  }
  const UnitPlace* place = build_->units.UnitOf(number);
  if (place == nullptr) {
    return nullptr;
  }
  if (!otherScopes_.HasUnit(place->start) && !isScanning_) {
    ScanScopes(*place);
  }
  return WholeName(&otherScopes_, otherScopes_.Find(place->start, number));
}

// What encloses the entries that the walk is at.
char* EntryWalk::CurrentScope() {
  return scopeNumber_ != ScopeNames::NONE ? WholeName(&ownScopes_, scopeNumber_) : scope_;
}

// Puts what encloses a record in front of its name: the scope of the walk, or of the entry that the record's entry
// completes. That one may come later in the unit, and so is looked up at its end.
void EntryWalk::Qualify(char** name, uint32_t origin) {
  if (!qualifies_) {
    return;
  }
  if (origin == 0) {
    if (IsInScope()) {
      *name = Qualified(*name, CurrentScope());
    }
  } else if (!isOwnDone_ && origin > info_.Offset() + entryBase_ && origin < ownPlace_->end) {
    if (!laterNames_.Push({name, origin})) {
      failure_->NoteNoMemory();
    }
  } else {
    *name = Qualified(*name, ScopeOf(origin));
  }
}

void EntryWalk::SettleNames() {
  for (const LaterName& later : laterNames_) {
    if (*failure_) {
      return;
    }
    *later.field = Qualified(*later.field, ScopeOf(later.origin));
  }
}

// Goes over the entries of a unit for their scopes alone.
void EntryWalk::ScanScopes(const UnitPlace& place) {
  const UnitInHand hand = Hand();
  if (!EnterUnit(place)) {
    return;
  }
  if (!otherScopes_.BeginUnit(place.start)) {
    failure_->NoteNoMemory();
  }
  if (qualifies_ && place.hasChildren) {
    isScanning_ = true;
    levels_.Empty();
    scan_.Seek(SectionOfUnit(), place.firstEntry - entryBase_, Cursor::LARGEST_WINDOW);
    while (!*failure_ && scan_.Offset() < unitEnd_ && ScanEntry()) {
    }
    scan_.Charge(scan_.Offset() - (place.firstEntry - entryBase_));
    isScanning_ = false;
  }
  TakeHand(hand);
}

// False at the end of the unit.
bool EntryWalk::ScanEntry() {
  const uint32_t offset = scan_.Offset();
  const uint32_t code = ReadUleb(&scan_);
  if (code == 0) {
    if (levels_.Count() == 0) {
      return false;
    }
    const Level level = levels_[levels_.Count() - 1];
    levels_.Pop();
    if (level.isScope) {
      otherScopes_.Close(level.scope, scan_.Offset() + entryBase_);
    }
    return true;
  }
  AbbrevEntry* entry = abbrevs_->Find(code, &scan_, offset);
  Level level = {0, false};
  if (entry->hasChildren != 0 && IsNamingScope(entry->tag)) {
    const ScopeEntry blank = {EmptyString(), 0, 0, 0, 0, 0};
    ScopeEntry scope = blank;
    ClearFacts();
    RunPlan(&scan_, entry, RecordKind::scope, &scope);
    const uint32_t origin = specification_ != 0 ? Complete(RecordKind::scope, &scope, blank) : 0;
    char* whole = origin != 0 ? ScopeName(entry->tag, scope.name, ScopeOf(origin)) : nullptr;
    level.scope = otherScopes_.Open(offset + entryBase_, entry->tag, scope.name, whole);
    level.isScope = true;
    if (level.scope == ScopeNames::NONE) {
      failure_->NoteNoMemory();
    }
  } else {
    RunPlan(&scan_, entry, RecordKind::none, nullptr);
  }
  if (entry->hasChildren != 0) {
    if (levels_.Count() == MAX_NESTING) {
      scan_.Fail("entries are nested deeper than %u", static_cast<unsigned>(MAX_NESTING));
    } else if (!levels_.Push(level)) {
      failure_->NoteNoMemory();
    }
  }
  return true;
}

void EntryWalk::BeginNames(Dwarf2Build* build) {
  build_ = build;
  place_ = nullptr;
  isOwnDone_ = isScanning_ = false;
  abbrevTables_.Empty();
  otherScopes_.Empty();
}

// Declarations, and procedures that only stand for inlined code, are no records.
char* EntryWalk::NameOf(const DescModule* module, uint32_t entry) {
  const UnitPlace* place = static_cast<const Dwarf2ModuleExt*>(module->ext)->unit;
  if (place_ != place) {
    if (!EnterUnit(*place)) {
      return nullptr;
    }
    info_.Seek(SectionOfUnit(), 0);
    ownPlace_ = place;
  }
  if (!build_->strings.IsMade()) {
    build_->strings.Make(build_->tableHeap, file_, sections_->str);
  }
  const ScopeEntry blank = {EmptyString(), 0, 0, 0, 0, 0};
  ScopeEntry named = blank;
  ClearFacts();
  if (!RunPlanAt(entry, RecordKind::scope, &named)) {
    return nullptr;
  }
  const bool hasCode = facts_.hasLowPc || facts_.ranges.valueClass != ValueClass::absent;
  if (!hasCode && (facts_.isDeclaration || facts_.isAbstract)) {
    return nullptr;
  }
  const uint32_t origin = specification_ != 0 ? Complete(RecordKind::scope, &named, blank) : 0;
  if (named.name[0] == 0) {
    return nullptr;
  }
  return Qualified(named.name, qualifies_ ? ScopeOf(origin != 0 ? origin : entry) : nullptr);
}
