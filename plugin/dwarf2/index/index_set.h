// Sets of the index sections, as published: each has its length, so that what it says of no known unit costs it alone.
//
//   IndexSets sets(cursor, size);
//   for (IndexSet set; sets.Next(&set);) ...
//   sets.Finish();
#pragma once

#include <cstdint>

#include "elf/cursor.h"

struct IndexSet {
  uint32_t start;      // of unit_length, in the section
  uint32_t end;        // after the set
  uint32_t version;    // the cursor is after it
  uint8_t offsetSize;  // bytes
};

class IndexSets {
 public:
  // The section that the cursor is in, as far as the file has it.
  explicit IndexSets(Cursor* cursor);

  // Goes to the next set. False at the end. A set that leads outside the section has what is left of it, and is the
  // last.
  bool Next(IndexSet* set);

  // Notes what was wrong with the sets' lengths.
  void Finish();

 private:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  Cursor* cursor_;
  uint32_t size_;
  uint32_t next_ = 0;
  uint32_t wrong_ = NONE;  // the set whose length leads outside
};

// A number of `size` bytes; of more than four the low ones.
uint32_t ReadIndexNumber(Cursor* cursor, uint32_t size);

// An offset of the set's size; one of more than 32 bits is 0xFFFFFFFF, where nothing is.
uint32_t ReadLongIndexOffset(Cursor* cursor);
inline uint32_t ReadIndexOffset(Cursor* cursor, const IndexSet& set) {
  return set.offsetSize == 4 ? cursor->U32() : ReadLongIndexOffset(cursor);
}
