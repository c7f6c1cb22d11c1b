// Procedures, source lines and address ranges by address, in the records of one unit.
//
//   UnitLookup lookup(module);
//   const DescProc* proc = lookup.FindProc(address);
//   const auto row = lookup.FindRow(proc->lowPc, address);
//
// The first questions are answered by a walk over the records, since making an index costs as much as some of these.
// From then on an index answers: many questions take no time in proportion to the records.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "records/debug_records.h"
#include "session/interval_map.h"

namespace elfload {

struct LineRow {
  uint32_t address;
  uint32_t line;
  uint32_t column;  // 0: none
  const char* fileName;
};

// Says when a walk over records is no longer worth it.
class QuestionCount {
 public:
  static constexpr int WALKS = 4;
  bool IsMany() { return ++count_ > WALKS; }

 private:
  int count_ = 0;
};

class UnitLookup {
 public:
  // The records must not change while this lives.
  explicit UnitLookup(const DescModule* module) : module_(module) {}

  // The procedure that holds the address. A procedure goes before a label, a label before a line-info range; among
  // equals the one that begins last, then the one that ends first. Null when there is none.
  const DescProc* FindProc(uint32_t address);

  // The row with the greatest address from `low` to `address`, both included; of rows at one address the last of the
  // program, since the others cover nothing. Nothing when there is none.
  //
  // A unit's rows are in program order, sequence after sequence, and nothing marks a sequence's end. So a row answers
  // for the addresses up to the next one only inside bounds that the caller knows: those of a procedure or of the unit.
  std::optional<LineRow> FindRow(uint32_t low, uint32_t address);

  // The first of the unit's addrRanges that holds the address, or null.
  const DescAddrRange* FindRange(uint32_t address);

 private:
  const DescModule* module_;
  QuestionCount procQuestions_, rowQuestions_, rangeQuestions_;
  std::optional<IntervalMap> procMap_, rangeMap_;
  std::vector<const DescProc*> procs_;        // of procMap_
  std::vector<const DescAddrRange*> ranges_;  // of rangeMap_
  std::optional<std::vector<LineRow>> rows_;  // by address
};

// By a walk: the first of the unit's addrRanges that holds the address, or null.
const DescAddrRange* FindRangeAt(const DescModule* module, uint32_t address);

}  // namespace elfload
