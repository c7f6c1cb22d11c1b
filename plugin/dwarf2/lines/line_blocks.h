// The rows of a line program on their way into records: how a row finds its block, a block its source file, and
// addresses their range.
#pragma once

#include <cstdint>

#include "elf/cursor.h"
#include "records/debug_records.h"
#include "records/growing_array.h"
#include "records/hash_index.h"
#include "records/record_heap.h"
#include "tarnixcore/list.h"

constexpr uint32_t LINE_BLOCK_ROWS = 256;
constexpr uint32_t LINE_RANGE_GAP = 256;  // rows up to this many bytes apart belong to one range

class LineBlocks {
 public:
  // `program` is the cursor of the line program, in whose window the names of files are as a rule.
  LineBlocks(Failure* failure, Allowance* allowance, RecordHeap* heap, const Cursor* program)
      : failure_(failure), names_(failure, allowance), program_(program), heap_(heap) {}

  void Use(const ByteSource* file, bool littleEndian) { names_.Use(file, littleEndian); }

  // Begins a program: no blocks, no files.
  void Begin(L_list* ranges);

  // An entry of the file table. Its text stays in the file until a row needs it.
  void AddFile(uint32_t offset, uint32_t length);

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

  DescFile* Files() const { return firstFile_; }
  DescLineBlock* Blocks() const { return firstBlock_; }

  // The name of a file by its number in the program; the shared empty string for an unknown one.
  char* FileOf(uint32_t number);

 private:
  struct File {
    uint32_t offset;  // of the name in the section
    uint32_t length;
    char* text;     // once a row has used it
    bool isListed;  // whether its base name is on the list of files
  };

  bool BeginBlock(int32_t file);
  char* TextOf(File* file);
  void ListFile(File* file);

  Failure* failure_;
  Cursor names_;
  const Cursor* program_;
  RecordHeap* heap_;
  L_list* ranges_ = nullptr;

  GrowingArray<File> files_;  // entry 1 of the table is the first
  HashIndex filesByName_;     // DescFile records by base name
  DescFile* firstFile_ = nullptr;
  DescFile* lastFile_ = nullptr;

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
