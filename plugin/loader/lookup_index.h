// An index beside the module list, for hosts that look up names and addresses by the thousand.
//
// It answers what a walk of the list answers: the first module, in list order, that holds the name or the address by
// the list that decides for that module. Modules that the walk would have to fill are entered when they have been
// filled.
#pragma once

#include <cstdint>

#include "loader/span_tree.h"
#include "records/hash_index.h"
#include "tarnixcore/obj_file_loader.h"

struct DescModule;
struct DescVar;
struct ElfImage;

inline bool LooksAtCode(FindKind kind) {
  return kind == FIND_ALL || kind == FIND_CODE;
}
inline bool LooksAtData(FindKind kind) {
  return kind == FIND_ALL || kind == FIND_DATA;
}

// Which of a module's lists decides whether it holds a name or an address. `records` are its procedures and variables:
// such a module has to be filled first.
enum class Decider : uint8_t { ownRange, index, records };
Decider NameDecider(const DescModule* module);
Decider AddressDecider(const DescModule* module, FindKind kind);

// The addresses that a variable takes at a fixed place. False for a variable held anywhere else, or of no size.
struct FixedPlace {
  uint32_t start;
  uint32_t size;
};
bool FixedPlaceOf(const ElfImage* image, const DescVar* variable, FixedPlace* place);

class LookupIndex {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  LookupIndex() = default;
  LookupIndex(const LookupIndex&) = delete;
  LookupIndex& operator=(const LookupIndex&) = delete;
  ~LookupIndex();

  // Takes in the list from `first` on. False without memory: the index is of no use then.
  bool Take(DescModule* first);

  // The place of a module in the list, or NONE.
  uint32_t PlaceOf(const DescModule* module) const;
  uint32_t Count() const { return count_; }
  DescModule* At(uint32_t place) const { return entries_[place].module; }

  // Takes in the procedures and variables of a module that has been filled. False without memory.
  bool EnterRecords(uint32_t place, const ElfImage* image);
  bool HasRecords(uint32_t place) const { return entries_[place].hasRecords; }

  // Whether the index can tell: no span ends behind the last address.
  static bool Knows(uint32_t address) { return address != 0xFFFFFFFF; }

  // The first place, not in front of `from`, whose module holds the name or the address by what the index has so far.
  uint32_t FindName(const char* name, uint32_t from, FindKind kind) const;
  uint32_t FindAddress(uint32_t address, uint32_t from, FindKind kind) const;

 private:
  enum class Source : uint8_t { ownRange, index, code, data };

  struct Entry {
    DescModule* module;
    bool hasRecords;
  };

  // A name or a span of one module; names of one text are chained.
  struct Item {
    Item* next;
    const char* name;
    uint32_t place;
    Source source;
  };

  Item* NewItem(uint32_t place, Source source);
  bool AddName(const char* name, uint32_t place, Source source);
  bool AddSpan(uint32_t low, uint32_t high, uint32_t place, Source source);
  bool EnterIndexes(uint32_t place);
  static bool Counts(Source source, Decider decider, FindKind kind);

  mem_desc* heap_ = nullptr;  // of the items
  Entry* entries_ = nullptr;
  uint32_t count_ = 0;
  HashIndex names_;
  SpanTree spans_;
};
