// What a module takes from other units: types that its entries refer to, and partial units that it imports. Each is
// read once for the module, after the module's own unit.
#include "dwarf2/entries/entry_walk.h"

void EntryWalk::AddImport(AbbrevEntry* entry) {
  ScopeEntry scope = {EmptyString(), 0, 0, 0, 0, 0};
  ClearFacts();
  RunPlan(&info_, entry, RecordKind::scope, &scope);
  SkipChildren(entry);
  if (specification_ != 0 && !imports_.Push(specification_)) {
    failure_->NoteNoMemory();
  }
}

// Imported units may import others.
void EntryWalk::ReadImports() {
  imported_.Empty();
  for (uint32_t i = 0; i < imports_.Count() && !*failure_; ++i) {
    const UnitPlace* place = build_->units.UnitOf(imports_[i]);
    if (place == nullptr) {
      info_.Fail("an imported unit at 0x%X is not there", static_cast<unsigned>(imports_[i]));
      return;
    }
    const auto isPlace = [place](const UnitPlace* other) { return other == place; };
    if (place == ownPlace_ || imported_.Find<UnitPlace>(place->start, isPlace) != nullptr) {
      continue;
    }
    if (!imported_.Insert(place->start, const_cast<UnitPlace*>(place))) {
      failure_->NoteNoMemory();
      return;
    }
    if (EnterUnit(*place)) {
      scope_ = nullptr;
      scopeNumber_ = ScopeNames::NONE;
      ReadUnitEntries(*place);
    }
  }
}

// The types that were asked for and have not been read. Reading one may ask for more, which come in front of the list.
void EntryWalk::ReadReferredTypes() {
  const DescType* done = nullptr;
  while (module_->types != done && types_.Undefined() != 0 && !*failure_) {
    const DescType* const newest = module_->types;
    for (const DescType* type = newest; type != done && !*failure_; type = type->next) {
      if (type->name == UNDEFINED_TYPE) {
        ReadReferredType(type->key);
      }
    }
    done = newest;
  }
}

// Another entry than a type's leaves the type undefined.
void EntryWalk::ReadReferredType(uint32_t number) {
  const UnitPlace* place = build_->units.UnitOf(number);
  if (place == nullptr || (place != place_ && !EnterUnit(*place))) {
    return;
  }
  const uint32_t offset = number - entryBase_;
  AbbrevEntry* entry = BeginEntry(&info_, number);
  if (entry == nullptr || FindTypeRow(entry->tag) == nullptr) {
    return;
  }
  scope_ = qualifies_ ? ScopeOf(number) : nullptr;
  scopeNumber_ = ScopeNames::NONE;
  ReadEntry(entry, number);
  info_.Charge(info_.Offset() - offset);
}

// A type that another one stands for, by its signature, has what that one has once all types are read.
void EntryWalk::AddAlias(DescType* type, const AttributeValue& signature) {
  DescType* whole = signature.valueClass == ValueClass::signature ? TypeOf(signature) : nullptr;
  if (whole != nullptr && whole != build_->undefinedType && !aliases_.Push({type, whole})) {
    failure_->NoteNoMemory();
  }
}

void EntryWalk::SettleAliases() {
  for (const TypeAlias& alias : aliases_) {
    const DescType* whole = alias.whole;
    if (whole->name == UNDEFINED_TYPE) {
      continue;
    }
    DescType* type = alias.type;
    type->name = whole->name;
    type->byteSize = whole->byteSize;
    type->kind = whole->kind;
    type->target = whole->target;
    type->items = whole->items;
    type->element = whole->element;
  }
}
