// The unit that the walk is in: the module's own, or one that it takes entries from.
#include "dwarf/unit_facts.h"
#include "dwarf2/entries/entry_walk.h"

namespace {

// In bytes: of going to another unit, and to an entry out of turn.
constexpr uint32_t COST_OF_UNIT = 32;
constexpr uint32_t COST_OF_JUMP = 16;

// Languages whose names are not enclosed by others.
bool HasFlatNames(uint32_t language) {
  switch (PublishedLanguageOf(language)) {
    case LANGUAGE_C:
    case LANGUAGE_ASSEMBLY:
      return true;
    default:
      return false;
  }
}

}  // namespace

EntryWalk::UnitInHand EntryWalk::Hand() const {
  return {place_, unit_, abbrevs_, entryBase_, unitEnd_, qualifies_};
}

void EntryWalk::TakeHand(const UnitInHand& hand) {
  place_ = hand.place;
  unit_ = hand.forms;
  abbrevs_ = hand.abbrevs;
  entryBase_ = hand.entryBase;
  unitEnd_ = hand.unitEnd;
  qualifies_ = hand.qualifies;
}

// False, with the failure noted, when the abbreviations cannot be read: the hand is then as it was.
bool EntryWalk::EnterUnit(const UnitPlace& place) {
  const UnitForms forms = UnitDirectory::FormsOf(place, *build_->rules);
  AbbrevTable* table = abbrevTables_.Find(&abbrev_, sections_->abbrev, place.abbrevOffset, forms);
  if (table == nullptr || !abbrev_.Charge(COST_OF_UNIT)) {
    return false;
  }
  const uint32_t base = place.isInTypes ? sections_->info.size : 0;
  TakeHand({
      .place = &place,
      .forms = forms,
      .abbrevs = table,
      .entryBase = base,
      .unitEnd = place.end - base,
      .qualifies = build_->rules->qualifiesNames && !HasFlatNames(place.language),
  });
  return true;
}

const SectionPlace& EntryWalk::SectionOfUnit() const {
  return entryBase_ != 0 ? sections_->types : sections_->info;
}

// Goes to an entry of the unit in hand. Null, with the failure noted, when there is none.
AbbrevEntry* EntryWalk::BeginEntry(Cursor* cursor, uint32_t number) {
  const uint32_t offset = number - entryBase_;
  if (cursor != &info_ && info_.Section().name == SectionOfUnit().name) {
    cursor->LookInto(info_, offset);
  } else {
    cursor->Seek(SectionOfUnit(), offset);
  }
  const uint32_t code = ReadUleb(cursor);
  cursor->Charge(COST_OF_JUMP);
  if (code == 0 || *failure_) {
    failure_->Note(SectionOfUnit().name, offset, "a reference leads to no entry");
    return nullptr;
  }
  return abbrevs_->Find(code, cursor, offset);
}

// Runs the plan of an entry of the unit in hand into a record. False, with the failure noted, when there is none.
bool EntryWalk::RunPlanHere(uint32_t number, RecordKind kind, void* record) {
  AbbrevEntry* entry = BeginEntry(&detour_, number);
  if (entry == nullptr) {
    return false;
  }
  RunPlan(&detour_, entry, kind, record);
  detour_.Charge(detour_.Offset() - (number - entryBase_));
  return true;
}

// The same for an entry of any unit.
bool EntryWalk::RunPlanAt(uint32_t number, RecordKind kind, void* record) {
  if (number >= place_->start && number < place_->end) {
    return RunPlanHere(number, kind, record);
  }
  const UnitInHand hand = Hand();
  const UnitPlace* place = build_->units.UnitOf(number);
  if (place == nullptr) {
    info_.Fail("a reference to 0x%X leads to no unit", static_cast<unsigned>(number));
    return false;
  }
  if (!EnterUnit(*place)) {
    return false;
  }
  const bool isRun = RunPlanHere(number, kind, record);
  TakeHand(hand);
  return isRun;
}
