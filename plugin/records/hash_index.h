// An index beside a list: from a 32-bit hash to the records that have it, so that a look-up costs no walk.
//
// Lives in the process's memory for as long as its owner needs it, not in a host heap. Records are never taken out one
// by one. Hashes are keyed with what only the running process knows, so that no file can be made to collide.
#pragma once

#include <cstdint>
#include <cstdlib>

// Differs from process to process where the system places modules at random.
extern const uint64_t hashKey;

// The hash of a text (FNV-1a, from a basis of this process).
inline uint32_t HashText(const char* text) {
  auto hash = static_cast<uint32_t>(hashKey);
  for (; *text != 0; ++text) {
    hash = (hash ^ static_cast<uint8_t>(*text)) * 16777619U;
  }
  return hash;
}

class HashIndex {
 public:
  HashIndex() = default;
  HashIndex(const HashIndex&) = delete;
  HashIndex& operator=(const HashIndex&) = delete;
  ~HashIndex() { Clear(); }

  // False when there is no memory; the index then is as it was.
  bool Insert(uint32_t hash, void* record);

  // The record of that hash for which `matches(record)` holds, or null.
  template <typename Record, typename Matches>
  Record* Find(uint32_t hash, Matches matches) const {
    if (count_ == 0) {
      return nullptr;
    }
    for (uint32_t slot = FirstSlot(hash, mask_);; slot = (slot + 1) & mask_) {
      if (slots_[slot].record == nullptr) {
        return nullptr;
      }
      auto* record = static_cast<Record*>(slots_[slot].record);
      if (slots_[slot].hash == hash && matches(record)) {
        return record;
      }
    }
  }

  uint32_t Count() const { return count_; }

  // Takes all records out. Empty() keeps the memory for as many again, unless it was far too much.
  void Clear();
  void Empty();

 private:
  struct Slot {
    void* record;
    uint32_t hash;
  };

  // Entry offsets come in rising order with even steps: the high half of a product spreads them over the table, in
  // groups of those that lie close together, so that reading one entry after another stays in the processor's caches.
  static uint32_t FirstSlot(uint32_t hash, uint32_t mask) {
    const auto group = static_cast<uint32_t>(((hash >> 5) + (hashKey >> 32)) * (hashKey | 1) >> 32);
    return (group << 2 | (hash >> 3 & 3)) & mask;
  }
  bool Grow();

  Slot* slots_ = nullptr;
  uint32_t mask_ = 0;  // slots minus one, a power of two minus one
  uint32_t count_ = 0;
};
