#include "dwarf1/type_index.h"

namespace dwarf1 {
namespace {

constexpr size_t FIRST_SIZE = 64;

}  // namespace

void TypeIndex::Add(uint32_t key, DescType* type) {
  if ((count_ + 1) * 2 > slots_.size()) {
    Grow();
  }
  slots_[PlaceOf(slots_, key)] = {type, key};
  ++count_;
}

void TypeIndex::Grow() {
  std::vector<Slot> larger(slots_.empty() ? FIRST_SIZE : slots_.size() * 2);
  for (const Slot& slot : slots_) {
    if (slot.type != nullptr) {
      larger[PlaceOf(larger, slot.key)] = slot;
    }
  }
  slots_.swap(larger);
}

}  // namespace dwarf1
