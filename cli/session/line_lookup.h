// Source lines and procedures by address, in the records of a filled unit.
//
// A unit's rows stand in program order, sequence after sequence, and nothing marks a sequence's end. So a row answers
// for the addresses up to the next one only inside bounds that the caller knows: those of a procedure or of the unit.
#pragma once

#include <cstdint>
#include <vector>

#include "records/debug_records.h"

namespace elfload {

struct LineRow {
  uint32_t address;
  uint32_t line;
  uint32_t column;  // 0: none
  const char* fileName;
};

class LineLookup {
 public:
  explicit LineLookup(const DescModule* module);

  // The row with the greatest address from `low` to `address`, both included; of rows at one address the last of the
  // program, since the others cover nothing. Null when there is none.
  const LineRow* Find(uint32_t low, uint32_t address) const;

 private:
  std::vector<LineRow> rows_;  // by address
};

// The procedure of the unit that holds `address`. A procedure goes before a label, a label before a line-info range;
// among equals the one that begins last, then the one that ends first. Null when there is none.
const DescProc* FindProcAt(const DescModule* module, uint32_t address);

// Whether `address` lies in one of the unit's addrRanges, and where that range begins.
const DescAddrRange* FindRangeAt(const DescModule* module, uint32_t address);

}  // namespace elfload
