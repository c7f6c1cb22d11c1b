// What takes sizes of types that may follow later, kept until all entries of a unit have been read.
#pragma once

#include <cstdint>

#include "dwarf2/entries/entry_facts.h"
#include "records/debug_records.h"
#include "records/growing_array.h"

struct PendingField {
  DescVar* field;
  uint32_t storageSize;  // DW_AT_byte_size of the member, 0 for none
  int32_t bits;          // DW_AT_data_bit_offset, or DW_AT_bit_offset
  bool countsFromStart;  // whether it is the former
};

struct PendingConstant {
  DescVar* variable;
  ConstValue value;
};

// A type without a size of its own: it has that of `source`.
struct PendingSize {
  DescType* type;
  const DescType* source;
};

// A value of 1 or 2 bytes with its highest bit set, which is a sign when `type` is signed.
struct PendingEnumerator {
  DescEnumerator* enumerator;
  const DescType* type;
  uint8_t size;
};

struct PendingValues {
  GrowingArray<PendingField> fields;
  GrowingArray<PendingConstant> constants;
  GrowingArray<PendingSize> sizes;
  GrowingArray<PendingEnumerator> enumerators;
  GrowingArray<DescType*> memberPointers;  // without a size, and so twice as large when the member is a function

  void Empty() {
    fields.Empty();
    constants.Empty();
    sizes.Empty();
    enumerators.Empty();
    memberPointers.Empty();
  }
};
