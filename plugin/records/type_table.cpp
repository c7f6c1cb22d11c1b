#include "records/type_table.h"

#include <cstdlib>
#include <cstring>

namespace {

// Slots for each type from which on clearing them all is cheaper than finding those in use.
constexpr uint32_t CLEARED_SLOTS = 64;

constexpr DescType placeholder = {
    .next = nullptr,
    .name = nullptr,
    .key = 0,
    .byteSize = 0,
    .kind = KIND_BASIC,
    .target = {},
    .items = {},
    .element = {},
};

}  // namespace

TypeTable::~TypeTable() {
  std::free(static_cast<void*>(slots_));
}

// Slots are 0 between modules. Without memory for them the hash answers for all keys.
void TypeTable::Begin(DescModule* module, uint32_t base, uint32_t span) {
  End();
  module_ = module;
  undefined_ = 0;
  base_ = base;
  const uint32_t count = span / KEYS_OF_SLOT + 1;
  if (count > slotCapacity_) {
    std::free(static_cast<void*>(slots_));
    slots_ = static_cast<char**>(std::calloc(count, sizeof(void*)));
    slotCapacity_ = slots_ != nullptr ? count : 0;
  }
  span_ = count <= slotCapacity_ ? span : 0;
}

void TypeTable::End() {
  if (module_ == nullptr) {
    return;
  }
  const uint32_t count = span_ / KEYS_OF_SLOT + 1;
  if (span_ != 0 && count / CLEARED_SLOTS <= module_->typeCount) {
    std::memset(static_cast<void*>(slots_), 0, count * sizeof(void*));
  } else {
    for (const DescType* type = module_->types; type != nullptr; type = type->next) {
      if (type->key - base_ < span_) {
        slots_[(type->key - base_) / KEYS_OF_SLOT] = nullptr;
      }
    }
  }
  span_ = 0;
  outside_.Empty();
  module_ = nullptr;
}

DescType* TypeTable::Find(uint32_t key) const {
  const uint32_t distance = key - base_;
  if (distance < span_) {
    char* slot = slots_[distance / KEYS_OF_SLOT];
    if (slot == nullptr) {
      return nullptr;
    }
    if (reinterpret_cast<uintptr_t>(slot) % KEYS_OF_SLOT == distance % KEYS_OF_SLOT) {
      return reinterpret_cast<DescType*>(slot - distance % KEYS_OF_SLOT);
    }
  }
  return outside_.Find<DescType>(key, [key](const DescType* found) { return found->key == key; });
}

DescType* TypeTable::FindOutside(uint32_t key) {
  DescType* type = Find(key);
  return type != nullptr ? type : Add(key);
}

DescType* TypeTable::Add(uint32_t key) {
  auto* type = heap_->New(placeholder);
  if (type == nullptr) {
    return nullptr;
  }
  ++undefined_;
  const uint32_t distance = key - base_;
  if (distance < span_ && slots_[distance / KEYS_OF_SLOT] == nullptr) {
    slots_[distance / KEYS_OF_SLOT] = reinterpret_cast<char*>(type) + distance % KEYS_OF_SLOT;
  } else if (!outside_.Insert(key, type)) {
    failure_->NoteNoMemory();
    return nullptr;
  }
  type->name = FixedWord(UNDEFINED_TYPE);
  type->key = key;
  type->next = module_->types;
  module_->types = type;
  ++module_->typeCount;
  return type;
}
