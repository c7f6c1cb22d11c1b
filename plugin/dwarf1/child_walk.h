// The one walk over the children of an entry, along their AT_sibling links.
#pragma once

#include "dwarf1/attributes.h"

namespace dwarf1 {

// Counts a level of nested entries for as long as it stands. Not `IsAllowed` past the limit, with the latch set.
class NestingLevel {
 public:
  NestingLevel() { ++dwarf1State.nesting; }
  NestingLevel(const NestingLevel&) = delete;
  NestingLevel& operator=(const NestingLevel&) = delete;
  ~NestingLevel() { --dwarf1State.nesting; }
  bool IsAllowed() const {
    if (dwarf1State.nesting <= MAX_NESTING) {
      return true;
    }
    Fail("entries nested too deep");
    return false;
  }
};

// Calls `readChild(header, &sibling)` for each child of an entry whose attributes were just read and whose AT_sibling
// is `endOffset`. The first child stands right behind the attributes, and the others where the siblings lead; a first
// child without a sibling is followed by what stands behind it. The chain ends with a null entry, a sibling of 0, or at
// `endOffset`. A sibling that does not lead forward ends it with the latch set.
template <typename ReadChild>
void WalkChildren(uint32_t endOffset, ReadChild readChild) {
  if (DebugPosition() == endOffset) {
    return;
  }
  const NestingLevel level;
  if (!level.IsAllowed()) {
    return;
  }
  uint32_t sibling = NO_OFFSET;
  int64_t previous = -1;
  while (static_cast<int32_t>(endOffset) > static_cast<int32_t>(DebugPosition()) && IsWorkLeft()) {
    if (sibling != NO_OFFSET) {
      SeekDebug(sibling);
    }
    const uint32_t offset = DebugPosition();
    if (offset <= previous) {
      Fail("sibling that leads back");
      return;
    }
    previous = offset;
    EntryHeader entry;
    if (!ReadEntryHeader(&entry)) {
      return;
    }
    readChild(entry, &sibling);
    if (sibling == 0) {
      return;
    }
  }
}

}  // namespace dwarf1
