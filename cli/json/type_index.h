// Numbers of the type records of a module: how a dump refers to a type.
//
// A module on the module list is indexed together with the modules merged into it; a record on none of their lists is a
// reader's shared type. Look-up is by hash, since every variable, parameter and type of a unit asks once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "records/debug_records.h"

namespace elfload {

class TypeIndex {
 public:
  struct Place {
    const DescType* type = nullptr;
    int32_t merged = -1;  // index in `mergedModules`, -1 for the module itself
    uint32_t number = 0;  // from 0 at the head of `types`
  };

  // Replaces the contents by the types of `module` and of its merged modules.
  void Fill(const DescModule* module);

  // Null for a shared type.
  const Place* Find(const DescType* type) const {
    for (size_t at = Slot(type);; at = (at + 1) & (slots_.size() - 1)) {
      if (slots_[at].type == type) return &slots_[at];
      if (slots_[at].type == nullptr) return nullptr;
    }
  }

 private:
  size_t Slot(const DescType* type) const {
    const uint64_t spread = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(type)) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(spread >> shift_);
  }
  void Add(const DescType* types, int32_t merged);

  std::vector<Place> slots_ = std::vector<Place>(2);  // a power of two of them, at most half of them in use
  unsigned shift_ = 63;
};

}  // namespace elfload
