// The offsets that a walk has been at, so that siblings in a circle end it. Siblings lead forward as a rule, which
// keeps the offsets sorted by themselves.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "elf/cursor.h"
#include "records/hash_index.h"

namespace dwarf1 {

class Trail {
 public:
  Trail() = default;
  Trail(const Trail&) = delete;
  Trail& operator=(const Trail&) = delete;
  ~Trail() { std::free(forward_); }

  void Empty() {
    count_ = 0;
    backward_.Empty();
  }

  // False for an offset that was visited before, and without memory.
  bool Visit(uint32_t offset, Cursor* cursor) {
    const bool isAhead = count_ == 0 || offset > forward_[count_ - 1];
    if (!isAhead && Has(offset)) {
      cursor->Fail("an entry without a sibling, or siblings in a circle");
      return false;
    }
    if (isAhead ? !Append(offset) : !backward_.Insert(offset, this)) {
      cursor->failure().NoteNoMemory();
      return false;
    }
    return true;
  }

 private:
  bool Has(uint32_t offset) const {
    return std::binary_search(forward_, forward_ + count_, offset) ||
           backward_.Find<const Trail>(offset, [](const Trail*) { return true; }) != nullptr;
  }

  bool Append(uint32_t offset) {
    if (count_ == capacity_) {
      const uint32_t capacity = capacity_ == 0 ? 256 : 2 * capacity_;
      auto* forward = static_cast<uint32_t*>(std::realloc(forward_, size_t{capacity} * sizeof(uint32_t)));
      if (forward == nullptr) {
        return false;
      }
      forward_ = forward;
      capacity_ = capacity;
    }
    forward_[count_++] = offset;
    return true;
  }

  uint32_t* forward_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
  HashIndex backward_;
};

}  // namespace dwarf1
