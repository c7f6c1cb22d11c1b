#include "loader/hash_index.h"

namespace {

constexpr uint32_t FIRST_SIZE = 256;

}  // namespace

bool HashIndex::Insert(uint32_t hash, void* record) {
  if (slots_ == nullptr || count_ + 1 > (mask_ + 1) / 2) {
    if (!Grow()) {
      return false;
    }
  }
  uint32_t slot = Spread(hash) & mask_;
  while (slots_[slot].record != nullptr) {
    slot = (slot + 1) & mask_;
  }
  slots_[slot] = {record, hash};
  ++count_;
  return true;
}

bool HashIndex::Grow() {
  const uint32_t newSize = slots_ == nullptr ? FIRST_SIZE : (mask_ + 1) * 2;
  auto* newSlots = static_cast<Slot*>(std::calloc(newSize, sizeof(Slot)));
  if (newSlots == nullptr) {
    return false;
  }
  for (uint32_t i = 0; slots_ != nullptr && i <= mask_; ++i) {
    if (slots_[i].record == nullptr) {
      continue;
    }
    uint32_t slot = Spread(slots_[i].hash) & (newSize - 1);
    while (newSlots[slot].record != nullptr) {
      slot = (slot + 1) & (newSize - 1);
    }
    newSlots[slot] = slots_[i];
  }
  std::free(slots_);
  slots_ = newSlots;
  mask_ = newSize - 1;
  return true;
}

void HashIndex::Clear() {
  std::free(slots_);
  slots_ = nullptr;
  mask_ = 0;
  count_ = 0;
}
