// What an entry says of itself that is no field of a record, as its plan meets it.
#pragma once

#include "dwarf2/form_values.h"
#include "dwarf2/sections.h"

struct ConstValue : AttributeValue {
  const SectionPlace* section;  // that blocks and inline texts are in
};

// Of an array, or of one of its dimensions.
struct ArrayFacts {
  bool hasCount;
  bool isOpen;  // a bound, or the count, is no constant
  bool hasStringLength;
  uint32_t count;      // DW_AT_count
  uint32_t bitStride;  // 0 for none
  uint32_t byteStride;
};

struct EntryFacts {
  bool isDeclaration;  // DW_AT_declaration
  bool isExternal;     // DW_AT_external
  bool isAbstract;     // DW_AT_inline, with a value that stands for inlined or declared so
  bool hasLowPc;
  bool highPcIsSize;  // DW_AT_high_pc is counted from DW_AT_low_pc
  bool hasEntryPc;
  bool entryPcIsDistance;  // DW_AT_entry_pc is counted from the first address of the entry
  bool hasDataBitOffset;
  uint32_t entryPc;
  uint32_t dataBitOffset;
  int32_t bitOffset;     // DW_AT_bit_offset
  uint32_t bitSize;      // 0 for a member that is no bit field
  uint32_t storageSize;  // DW_AT_byte_size of a member
  AttributeValue ranges;
  ConstValue constValue;
  ArrayFacts array;
};

// Blocks, inlined calls, namespaces: entries that are no records. Plans write into it as into a record.
struct ScopeEntry {
  char* name;
  uint32_t lowPc;
  uint32_t highPc;
  uint32_t callFile;
  uint32_t callLine;
  uint32_t callColumn;
};
