// An index beside `types` of the module being filled: from a type's key to its record.
//
// Keys are offsets of entries, each at most once on a list; NO_KEY is not indexed. Lives in the process's memory, not
// in a module heap; throws std::bad_alloc without memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct DescType;

namespace dwarf1 {

class TypeIndex {
 public:
  void Clear() {
    std::vector<Slot>().swap(slots_);
    count_ = 0;
  }
  void Add(uint32_t key, DescType* type);
  DescType* Find(uint32_t key) const {
    if (slots_.empty()) {
      return nullptr;
    }
    return slots_[PlaceOf(slots_, key)].type;
  }

 private:
  struct Slot {
    DescType* type;
    uint32_t key;
  };

  // The slot of that key, or the free one where it belongs. At least half of the slots are free.
  static size_t PlaceOf(const std::vector<Slot>& slots, uint32_t key) {
    const size_t mask = slots.size() - 1;
    const uint32_t spread = key * 0x9E3779B1U;  // keys rise in small steps: a multiplication scatters them
    size_t place = (spread ^ spread >> 15) & mask;
    while (slots[place].type != nullptr && slots[place].key != key) {
      place = (place + 1) & mask;
    }
    return place;
  }
  void Grow();

  std::vector<Slot> slots_;  // as many as a power of two
  size_t count_ = 0;
};

}  // namespace dwarf1
