#include "loader/lookup_index.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "elf/section_access.h"
#include "records/debug_records.h"

namespace {

constexpr uint8_t OPERATION_ADDRESS = 3;  // DW_OP_addr and OP_ADDR
constexpr uint32_t ADDRESS_SIZE = 4;

// Behind the last address of the space there is none: the span is cut by that one address.
uint32_t EndOf(uint32_t start, uint32_t size) {
  return size > 0xFFFFFFFF - start ? 0xFFFFFFFF : start + size;
}

}  // namespace

Decider NameDecider(const DescModule* module) {
  return module->ext->globalNames != nullptr ? Decider::index : Decider::records;
}

Decider AddressDecider(const DescModule* module, FindKind kind) {
  if (module->hasRange != 0 && LooksAtCode(kind)) {
    return Decider::ownRange;
  }
  return module->ext->addrRanges != nullptr ? Decider::index : Decider::records;
}

bool FixedPlaceOf(const ElfImage* image, const DescVar* variable, FixedPlace* place) {
  const DescLocation* location = variable->location;
  if (location == nullptr || location->expression == nullptr || location->expression[0] != OPERATION_ADDRESS ||
      variable->byteSize <= 0) {
    return false;
  }
  const uint8_t* bytes = location->expression + 1;
  place->start = 0;
  place->size = static_cast<uint32_t>(variable->byteSize);
  for (uint32_t i = 0; i < ADDRESS_SIZE; ++i) {
    const uint32_t shift = 8 * (ELF_IsLittleEndian(image) != 0 ? i : ADDRESS_SIZE - 1 - i);
    place->start |= static_cast<uint32_t>(bytes[i]) << shift;
  }
  return true;
}

LookupIndex::~LookupIndex() {
  HEAP_Release(heap_);
  std::free(entries_);
}

bool LookupIndex::Take(DescModule* first) {
  for (const DescModule* module = first; module != nullptr; module = module->next) {
    ++count_;
  }
  heap_ = HEAP_Create(0, 0, 0);
  entries_ = static_cast<Entry*>(std::calloc(count_ + 1, sizeof(Entry)));
  if (heap_ == nullptr || entries_ == nullptr) {
    return false;
  }
  uint32_t place = 0;
  for (DescModule* module = first; module != nullptr; module = module->next, ++place) {
    entries_[place].module = module;
    if (!EnterIndexes(place)) {
      return false;
    }
  }
  return true;
}

uint32_t LookupIndex::PlaceOf(const DescModule* module) const {
  for (uint32_t place = 0; place < count_; ++place) {
    if (entries_[place].module == module) {
      return place;
    }
  }
  return NONE;
}

LookupIndex::Item* LookupIndex::NewItem(uint32_t place, Source source) {
  auto* item = static_cast<Item*>(HEAP_Get(heap_, sizeof(Item)));
  if (item != nullptr) {
    *item = {nullptr, nullptr, place, source};
  }
  return item;
}

bool LookupIndex::AddName(const char* name, uint32_t place, Source source) {
  Item* item = NewItem(place, source);
  if (item == nullptr) {
    return false;
  }
  item->name = name;
  const uint32_t hash = HashText(name);
  auto* same = names_.Find<Item>(hash, [name](const Item* other) { return std::strcmp(other->name, name) == 0; });
  if (same == nullptr) {
    return names_.Insert(hash, item);
  }
  item->next = same->next;
  same->next = item;
  return true;
}

bool LookupIndex::AddSpan(uint32_t low, uint32_t high, uint32_t place, Source source) {
  if (low >= high) {
    return true;
  }
  Item* item = NewItem(place, source);
  return item != nullptr && spans_.Append(low, high, item);
}

// What decides for a module before it is filled.
bool LookupIndex::EnterIndexes(uint32_t place) {
  const DescModule* module = entries_[place].module;
  for (const DescGlobalName* name = module->ext->globalNames; name != nullptr; name = name->next) {
    if (!AddName(name->name, place, Source::index)) {
      return false;
    }
  }
  for (const DescAddrRange* range = module->ext->addrRanges; range != nullptr; range = range->next) {
    if (!AddSpan(range->low, EndOf(range->high, 1), place, Source::index)) {
      return false;
    }
  }
  return module->hasRange == 0 || AddSpan(module->lowPc, module->highPc, place, Source::ownRange);
}

bool LookupIndex::EnterRecords(uint32_t place, const ElfImage* image) {
  const DescModule* module = entries_[place].module;
  entries_[place].hasRecords = true;
  for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    if (!AddName(proc->name, place, Source::code) || !AddSpan(proc->lowPc, proc->highPc, place, Source::code)) {
      return false;
    }
  }
  for (const DescVar* variable = module->vars; variable != nullptr; variable = variable->next) {
    FixedPlace fixed = {0, 0};
    FixedPlaceOf(image, variable, &fixed);
    if (!AddName(variable->name, place, Source::data) ||
        !AddSpan(fixed.start, EndOf(fixed.start, fixed.size), place, Source::data)) {
      return false;
    }
  }
  return true;
}

bool LookupIndex::Counts(Source source, Decider decider, FindKind kind) {
  switch (source) {
    case Source::ownRange:
      return decider == Decider::ownRange;
    case Source::index:
      return decider == Decider::index;
    case Source::code:
      return decider == Decider::records && LooksAtCode(kind);
    default:
      return decider == Decider::records && LooksAtData(kind);
  }
}

uint32_t LookupIndex::FindName(const char* name, uint32_t from, FindKind kind) const {
  uint32_t best = NONE;
  const auto* item =
      names_.Find<Item>(HashText(name), [name](const Item* other) { return std::strcmp(other->name, name) == 0; });
  for (; item != nullptr; item = item->next) {
    if (item->place >= from && Counts(item->source, NameDecider(At(item->place)), kind)) {
      best = std::min(best, item->place);
    }
  }
  return best;
}

uint32_t LookupIndex::FindAddress(uint32_t address, uint32_t from, FindKind kind) const {
  uint32_t best = NONE;
  for (uint32_t number = spans_.NextTouching(0, address, address + 1); number != SpanTree::NONE;
       number = spans_.NextTouching(number + 1, address, address + 1)) {
    const auto* item = static_cast<const Item*>(spans_.Record(number));
    if (item->place >= from && Counts(item->source, AddressDecider(At(item->place), kind), kind)) {
      best = std::min(best, item->place);
    }
  }
  return best;
}
