#include "dwarf2/abbrev_cache.h"

#include <new>

AbbrevTable* AbbrevCache::Find(Cursor* cursor, const SectionPlace& section, uint32_t offset, const Dwarf2Rules& rules) {
  if (!hasFirst_) {
    hasFirst_ = first_.Read(cursor, section, offset, rules);
    firstOffset_ = offset;
    return hasFirst_ ? &first_ : nullptr;
  }
  if (offset == firstOffset_) {
    return &first_;
  }
  auto* known = index_.Find<Entry>(offset, [offset](const Entry* entry) { return entry->offset == offset; });
  if (known != nullptr) {
    return &known->table;
  }
  std::unique_ptr<Entry> entry(new (std::nothrow) Entry());
  if (entry == nullptr || !index_.Insert(offset, entry.get())) {
    cursor->failure().NoteNoMemory();
    return nullptr;
  }
  entry->offset = offset;
  entry->next = std::move(others_);
  others_ = std::move(entry);
  return others_->table.Read(cursor, section, offset, rules) ? &others_->table : nullptr;
}

void AbbrevCache::Empty() {
  hasFirst_ = false;
  index_.Empty();
  while (others_ != nullptr) {  // one by one, so that a long chain does not recurse
    others_ = std::move(others_->next);
  }
}
