// Where the walk is in a procedure: the record that its entries go to, and the innermost block.
#pragma once

#include <cstdint>

#include "records/debug_records.h"
#include "records/record_heap.h"

// What changes from block to block.
struct BlockState {
  uint32_t firstRange = 0;
  uint32_t rangeCount = 0;  // 0: the block is the whole procedure
  uint32_t depth = 0;       // of inlined calls
  bool isDirect = true;     // whether the entries are the procedure's own
};

struct ProcScope : BlockState {
  // `record` is null for an instance that has no record.
  explicit ProcScope(DescProc* record)
      : proc(record),
        params(record != nullptr ? &record->params : &dropped),
        locals(record != nullptr ? &record->locals : &dropped),
        codeMarks(record != nullptr ? &record->codeMarks : &droppedMarks) {}

  const BlockState& Block() const { return *this; }
  void SetBlock(const BlockState& block) { static_cast<BlockState&>(*this) = block; }

  DescVar* dropped = nullptr;
  DescCodeMark* droppedMarks = nullptr;
  DescProc* proc;
  bool isThrownAway = false;  // the linker left its code out, so nothing in it has ranges
  ListTail<DescVar> params;
  ListTail<DescVar> locals;
  ListTail<DescCodeMark> codeMarks;
};
