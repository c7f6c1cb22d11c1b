// The tags that make or complete a type, with the handlers of the walk.
#pragma once

#include "dwarf2/entries/entry_walk.h"

struct EntryWalk::TypeRow {
  uint32_t tag;
  uint32_t kind;     // DescTypeKind
  const char* word;  // the name when the entry has none
  Handler read;
  bool isLater = false;  // with published rules only
};
