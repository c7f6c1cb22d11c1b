// The types of the module that is being filled, by key: an array over the keys of the unit, a hash for all others.
//
// A key is the offset of the entry that defines the type. A type that is asked for before it is read becomes a
// placeholder on the module's list, and the definition fills that very record.
#pragma once

#include <cstdint>

#include "records/debug_records.h"
#include "records/hash_index.h"
#include "records/record_heap.h"

// The name of a placeholder, told from a name that reads the same by its address.
inline constexpr char UNDEFINED_TYPE[] = "undefined";

class TypeTable {
 public:
  TypeTable(RecordHeap* heap, Failure* failure) : heap_(heap), failure_(failure) {}
  TypeTable(const TypeTable&) = delete;
  TypeTable& operator=(const TypeTable&) = delete;
  ~TypeTable();

  // Begins a module whose keys are in [base, base + span) as a rule. It has no types yet.
  void Begin(DescModule* module, uint32_t base, uint32_t span);

  // Types that were asked for and have not been defined; who defines one that is a placeholder says so.
  uint32_t Undefined() const { return undefined_; }
  void NoteDefinition() { --undefined_; }

  // Forgets the types. They stay on the module's list.
  void End();

  // The type of a key, or null.
  DescType* Find(uint32_t key) const;

  // The same, made as a placeholder when there is none. Null without memory.
  DescType* FindOrAdd(uint32_t key) {
    const uint32_t distance = key - base_;
    if (distance < span_) {
      char* slot = slots_[distance / KEYS_OF_SLOT];
      if (slot != nullptr && reinterpret_cast<uintptr_t>(slot) % KEYS_OF_SLOT == distance % KEYS_OF_SLOT) {
        return reinterpret_cast<DescType*>(slot - distance % KEYS_OF_SLOT);
      }
    }
    return FindOutside(key);
  }

 private:
  // Types have keys that are some bytes apart, so a slot serves several keys: it has the address of the one type, and
  // in its low bits, which are 0 in an address, which of the keys is the type's. A second type goes to the hash.
  static constexpr uint32_t KEYS_OF_SLOT = 4;
  static_assert(alignof(DescType) >= KEYS_OF_SLOT);

  DescType* FindOutside(uint32_t key);
  DescType* Add(uint32_t key);

  RecordHeap* heap_;
  Failure* failure_;
  DescModule* module_ = nullptr;

  char** slots_ = nullptr;  // by key less base_, divided by KEYS_OF_SLOT; null for none
  uint32_t slotCapacity_ = 0;
  uint32_t undefined_ = 0;
  uint32_t base_ = 0;
  uint32_t span_ = 0;

  HashIndex outside_;  // keys that are not in the span, and second types of a slot
};
