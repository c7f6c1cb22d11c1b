#include "records/hash_index.h"

#include <cstring>

namespace {

constexpr uint32_t FIRST_SIZE = 256;
constexpr uint32_t KEPT_SLOTS_A_RECORD = 16;

// The finalizer of SplitMix64: every bit of the address decides over every bit of the key.
uint64_t MakeKey() noexcept {
  uint64_t key = reinterpret_cast<uintptr_t>(&hashKey) + 0x9E3779B97F4A7C15U;
  key = (key ^ key >> 30) * 0xBF58476D1CE4E5B9U;
  key = (key ^ key >> 27) * 0x94D049BB133111EBU;
  return key ^ key >> 31;
}

}  // namespace

const uint64_t hashKey = MakeKey();

bool HashIndex::Insert(uint32_t hash, void* record) {
  if (slots_ == nullptr || count_ + 1 > (mask_ + 1) / 2) {
    if (!Grow()) {
      return false;
    }
  }
  uint32_t slot = FirstSlot(hash, mask_);
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
    uint32_t slot = FirstSlot(slots_[i].hash, newSize - 1);
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

void HashIndex::Empty() {
  if (slots_ == nullptr || mask_ / KEPT_SLOTS_A_RECORD > count_) {
    Clear();
    return;
  }
  std::memset(slots_, 0, (size_t{mask_} + 1) * sizeof(Slot));
  count_ = 0;
}

void HashIndex::Clear() {
  std::free(slots_);
  slots_ = nullptr;
  mask_ = 0;
  count_ = 0;
}
