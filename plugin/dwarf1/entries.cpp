#include "dwarf1/entries.h"

#include "dwarf1/aggregates.h"
#include "dwarf1/arrays.h"
#include "dwarf1/child_walk.h"
#include "dwarf1/enumerations.h"
#include "dwarf1/subroutines.h"
#include "dwarf1/tags.h"
#include "dwarf1/types.h"

namespace dwarf1 {

void ReadEntry(DescModule* module, const EntryHeader& entry, uint32_t* nextOffset) {
  const uint32_t key = KeyOfEntry();
  switch (RoleOf(entry.tag, Place::anywhere)) {
    case Role::padding:
      SkipEntryAttributes(entry, nextOffset);
      break;
    case Role::array:
      ReadArrayType(module, key, entry.remaining, nextOffset);
      break;
    case Role::aggregate:
      ReadAggregateType(module, entry.tag, key, entry.remaining, nextOffset);
      break;
    case Role::enumeration:
      ReadEnumerationType(module, key, entry.remaining, nextOffset);
      break;
    case Role::function:
      ReadSubroutineTypeTree(module, key, entry.remaining, nextOffset);
      break;
    case Role::alias:
      ReadTypedefEntry(module, key, entry.remaining, nextOffset);
      break;
    default:
      SkipEntryTree(module, entry, nextOffset);
      break;
  }
}

void SkipEntryTree(DescModule* module, const EntryHeader& entry, uint32_t* nextOffset) {
  SkipEntryAttributes(entry, nextOffset);
  WalkChildren(*nextOffset, [&](const EntryHeader& child, uint32_t* sibling) { ReadEntry(module, child, sibling); });
}

}  // namespace dwarf1
