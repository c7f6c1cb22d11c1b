// What an entry says of itself that is no field of a record, as its plan meets it.
#pragma once

#include "dwarf2/form_values.h"

struct EntryFacts {
  bool isDeclaration;  // DW_AT_declaration
  bool isExternal;     // DW_AT_external
  bool isAbstract;     // DW_AT_inline, with a value that stands for inlined or declared so
  bool hasLowPc;
  bool highPcIsSize;  // DW_AT_high_pc is counted from DW_AT_low_pc
  bool hasEntryPc;
  bool hasCount;
  bool hasDataBitOffset;
  bool hasBitSize;
  uint32_t entryPc;
  uint32_t count;  // DW_AT_count
  uint32_t dataBitOffset;
  uint32_t storageSize;  // DW_AT_byte_size of a member
  AttributeValue ranges;
  AttributeValue constValue;
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
