// Records of the index sections, which both formats fill: modules by the offset of their unit, ranges of addresses.
#pragma once

#include <cstdint>

#include "records/debug_records.h"
#include "records/hash_index.h"
#include "records/record_heap.h"

// Sets of an index come in any order.
class ModulesByUnit {
 public:
  // False without memory.
  bool Add(uint32_t unitOffset, DescModule* module) { return index_.Insert(unitOffset, module); }

  // The module of a unit, or null. Of several units at one offset the one that was added first.
  DescModule* Find(uint32_t unitOffset) const {
    return index_.Find<DescModule>(unitOffset, [](const DescModule*) { return true; });
  }

 private:
  HashIndex index_;
};

// Puts a range at the head of a module's list.
inline void AddAddrRange(RecordHeap* heap, DescModule* module, uint32_t address, uint32_t length) {
  DescAddrRange* range = Prepend(&module->ext->addrRanges, heap->New<DescAddrRange>());
  if (range != nullptr) {
    range->low = address;
    range->high = address + length - 1;
  }
}

// Puts a name at the head of a module's list.
inline void AddGlobalName(RecordHeap* heap, DescModule* module, char* name) {
  DescGlobalName* node = Prepend(&module->ext->globalNames, heap->New<DescGlobalName>());
  if (node != nullptr) {
    node->name = name;
  }
}
