// The rows of a line program on their way into records: how a row finds its block, and addresses their
// range.
#pragma once

#include <cstdint>

#include "dwarf2/lines/line_files.h"
#include "records/debug_records.h"
#include "records/record_heap.h"
#include "tarnixcore/list.h"

constexpr uint32_t LINE_BLOCK_ROWS = 256;
constexpr uint32_t LINE_RANGE_GAP = 256;  // rows up to this many bytes apart belong to one range

class LineBlocks {
 public:
  LineBlocks(Failure* failure, RecordHeap* heap, LineFiles* files) : failure_(failure), heap_(heap), files_(files) {}

  // Begins a program: no blocks.
  void Begin(L_list* ranges);

  // False, with the failure noted, without memory.
  bool AddRow(uint32_t address, uint32_t line, uint32_t column, int32_t file) {
    if (file != blockFile_ || rowCount_ == LINE_BLOCK_ROWS || current_ == nullptr) {
      if (!BeginBlock(file)) {
        return false;
      }
    }
    addresses_[rowCount_] = address;
    linesOfRows_[rowCount_] = line;
    columns_[rowCount_] = column;
    ++rowCount_;
    if (hasRange_ && address >= rangeHigh_ && (address < LINE_RANGE_GAP || address - LINE_RANGE_GAP <= rangeHigh_)) {
      rangeHigh_ = address;
    } else if (!hasRange_ || address > rangeHigh_) {  // a range does not grow downward
      FlushRange();
      hasRange_ = true;
      rangeLow_ = rangeHigh_ = address;
    }
    return true;
  }

  // Hands the pending range to the caller's list. Without memory its addresses stay uncovered.
  void FlushRange();

  // Moves the rows of the last block into the heap.
  void Finish();

  DescLineBlock* Blocks() const { return firstBlock_; }

 private:
  bool BeginBlock(int32_t file);

  Failure* failure_;
  RecordHeap* heap_;
  LineFiles* files_;
  L_list* ranges_ = nullptr;

  DescLineBlock* firstBlock_ = nullptr;
  DescLineBlock* current_ = nullptr;
  int32_t blockFile_ = 1;  // the file register for which the current block was begun

  bool hasRange_ = false;
  uint32_t rangeLow_ = 0;
  uint32_t rangeHigh_ = 0;

  // The rows of the current block, until their number is known.
  uint32_t rowCount_ = 0;
  uint32_t addresses_[LINE_BLOCK_ROWS] = {};
  uint32_t linesOfRows_[LINE_BLOCK_ROWS] = {};
  uint32_t columns_[LINE_BLOCK_ROWS] = {};
};
