#include "dwarf2/abbrev_cache.h"

#include <new>
#include <utility>

AbbrevTable* AbbrevCache::Find(Cursor* cursor, const SectionPlace& section, uint32_t offset, const UnitForms& unit) {
  const uint32_t key = KeyOf(unit);
  if (!hasFirst_) {
    hasFirst_ = first_.Read(cursor, section, offset, *unit.rules);
    firstOffset_ = offset;
    firstKey_ = key;
    return hasFirst_ ? &first_ : nullptr;
  }
  if (offset == firstOffset_ && key == firstKey_) {
    return &first_;
  }
  const uint32_t hash = offset ^ key << 8;
  auto* known = index_.Find<Entry>(
      hash, [offset, key](const Entry* entry) { return entry->offset == offset && entry->key == key; });
  if (known != nullptr) {
    return &known->table;
  }
  std::unique_ptr<Entry> entry(new (std::nothrow) Entry());
  if (entry == nullptr) {
    cursor->failure().NoteNoMemory();
    return nullptr;
  }
  entry->offset = offset;
  entry->key = key;
  if (!entry->table.Read(cursor, section, offset, *unit.rules)) {
    return nullptr;
  }
  const uint64_t memory = entry->table.Memory();
  taken_ += memory;
  if (!allowance_->TakeMemory(memory)) {
    cursor->Fail("tables of abbreviations overlap");
    return nullptr;
  }
  if (!index_.Insert(hash, entry.get())) {
    cursor->failure().NoteNoMemory();
    return nullptr;
  }
  entry->next = std::move(others_);
  others_ = std::move(entry);
  return &others_->table;
}

void AbbrevCache::Empty() {
  hasFirst_ = false;
  allowance_->GiveMemoryBack(std::exchange(taken_, 0));
  index_.Empty();
  while (others_ != nullptr) {  // one by one, so that a long chain does not recurse
    others_ = std::move(others_->next);
  }
}
