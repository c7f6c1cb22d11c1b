#include "dwarf2/abbreviations.h"

#include <algorithm>

#include "dwarf/leb128.h"
#include "dwarf2/dwarf2_constants.h"
#include "records/hash_index.h"

namespace {

// In bytes: of an attribute of a plan. With published rules units of all versions may share a table, and have plans of
// their own for each way of reading an entry.
constexpr uint32_t COST_OF_STEP = 32;

constexpr AbbrevEntry missingAbbreviation = {
    .code = 0,
    .tag = TAG_MISSING_ABBREVIATION,
    .hasChildren = 0,
    .firstAttribute = 0,
    .attributeCount = 0,
    .plans = {},
};

// Keyed with what only the running process knows, so that no file can choose codes that collide.
uint32_t PlaceOfCode(uint32_t code, uint32_t mask) {
  return static_cast<uint32_t>((code + (hashKey >> 32)) * (hashKey | 1) >> 32) & mask;
}

}  // namespace

void AbbrevTable::Clear() {
  entries_.Empty();
  attributes_.Empty();
  steps_.Empty();
  dense_.Empty();
  sparse_.Empty();
  denseCount_ = 0;
}

uint64_t AbbrevTable::Memory() const {
  return sizeof(*this) + 2 * (uint64_t{entries_.Count()} * sizeof(AbbrevEntry) +
                              uint64_t{attributes_.Count()} * sizeof(AbbrevAttribute) +
                              (uint64_t{dense_.Count()} + sparse_.Count()) * sizeof(uint32_t));
}

bool AbbrevTable::Read(Cursor* cursor, const SectionPlace& section, uint32_t offset, const Dwarf2Rules& rules) {
  Failure& failure = cursor->failure();
  Clear();
  cursor_ = cursor;
  cursor->Seek(section, offset);
  if (!entries_.Push(missingAbbreviation) || !steps_.Push({})) {
    failure.NoteNoMemory();
    return false;
  }
  uint32_t maxCode = 0;
  while (!failure) {
    const uint32_t code = ReadUleb(cursor);  // over-long reads as 0, and ends the list as 0 does
    if (code == 0) {
      break;
    }
    if (!ReadDeclaration(cursor, code, rules)) {
      return false;
    }
    maxCode = std::max(maxCode, code);
  }
  if (!cursor->Charge(cursor->Offset() - offset) || failure) {
    return false;
  }
  if (!IndexCodes(maxCode)) {
    failure.NoteNoMemory();
    return false;
  }
  return true;
}

bool AbbrevTable::ReadDeclaration(Cursor* cursor, uint32_t code, const Dwarf2Rules& rules) {
  AbbrevEntry entry = {};
  entry.code = code;
  entry.tag = ReadUleb(cursor);
  entry.hasChildren = cursor->U8() == DW_CHILDREN_yes ? 1 : 0;
  if (!ReadAttributes(cursor, &entry, rules)) {
    return false;
  }
  if (!entries_.Push(entry)) {
    cursor->failure().NoteNoMemory();
    return false;
  }
  return true;
}

// Reads pairs through the one whose attribute or form is 0 (the published rule is that both are).
bool AbbrevTable::ReadAttributes(Cursor* cursor, AbbrevEntry* entry, const Dwarf2Rules& rules) {
  entry->firstAttribute = attributes_.Count();
  for (;;) {
    if (attributes_.Count() - entry->firstAttribute == MAX_ABBREV_PAIRS) {
      cursor->Fail("abbreviation %u has too many attributes", static_cast<unsigned>(entry->code));
      return false;
    }
    const uint32_t attribute = ReadUleb(cursor);
    const uint32_t form = ReadUleb(cursor);
    const bool hasValue = form == DW_FORM_implicit_const && rules.readsUnitsByVersion;
    const int32_t value = hasValue ? ReadSleb(cursor) : 0;
    if (!attributes_.Push({attribute, form, value})) {
      cursor->failure().NoteNoMemory();
      return false;
    }
    if (attribute == 0 || form == 0) {
      break;
    }
  }
  entry->attributeCount = attributes_.Count() - entry->firstAttribute - 1;
  return !cursor->failure();
}

// Small codes, as compilers number them, are found by an array with a little room for gaps; all others by a hash.
bool AbbrevTable::IndexCodes(uint32_t maxCode) {
  const uint32_t count = entries_.Count();
  const uint32_t limit = count + count / 2 + 16;
  denseCount_ = std::min(maxCode, limit) + 1;
  uint32_t sparseCount = 0;
  for (uint32_t number = 1; number < count; ++number) {
    sparseCount += entries_[number].code >= denseCount_ ? 1 : 0;
  }
  uint32_t places = 1;
  while (places < 2 * sparseCount + 1) {
    places *= 2;
  }
  if (!dense_.Resize(denseCount_) || !sparse_.Resize(places)) {
    denseCount_ = 0;
    return false;
  }
  for (uint32_t number = 1; number < count; ++number) {
    const uint32_t code = entries_[number].code;
    if (code < denseCount_) {
      dense_[code] = number;
      continue;
    }
    uint32_t place = PlaceOfCode(code, places - 1);
    while (sparse_[place] != 0 && entries_[sparse_[place]].code != code) {
      place = (place + 1) & (places - 1);
    }
    sparse_[place] = number;
  }
  return true;
}

AbbrevEntry* AbbrevTable::FindOutside(uint32_t code, Cursor* cursor, uint32_t offset) {
  if (sparse_.Count() != 0) {
    const uint32_t mask = sparse_.Count() - 1;
    for (uint32_t place = PlaceOfCode(code, mask); sparse_[place] != 0; place = (place + 1) & mask) {
      if (entries_[sparse_[place]].code == code) {
        return &entries_[sparse_[place]];
      }
    }
  }
  cursor->failure().Note(cursor->Section().name, offset, "there is no abbreviation %u", static_cast<unsigned>(code));
  return &entries_[0];
}

const Step* AbbrevTable::AddPlan(AbbrevEntry* entry, RecordKind kind, const UnitForms& unit, Failure* failure) {
  if (unit.rules->readsUnitsByVersion) {
    cursor_->Charge(COST_OF_STEP * (uint64_t{entry->attributeCount} + 1));
  }
  const uint32_t firstStep = steps_.Count();
  if (!MakePlan(Attributes(entry), entry->attributeCount, kind, unit, &steps_)) {
    failure->NoteNoMemory();
    return nullptr;
  }
  entry->plans[static_cast<size_t>(kind)] = firstStep;
  return &steps_[firstStep];
}
