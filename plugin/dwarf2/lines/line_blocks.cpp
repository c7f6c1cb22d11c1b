#include "dwarf2/lines/line_blocks.h"

void LineBlocks::Begin(L_list* ranges) {
  ranges_ = ranges;
  firstBlock_ = current_ = nullptr;
  blockFile_ = 1;
  hasRange_ = false;
  rowCount_ = 0;
}

bool LineBlocks::BeginBlock(int32_t file) {
  Finish();
  blockFile_ = file;
  auto* block = heap_->New<DescLineBlock>();
  if (block == nullptr) {
    return false;
  }
  block->fileName = EmptyString();
  (firstBlock_ == nullptr ? firstBlock_ : current_->next) = block;
  current_ = block;
  block->fileName = files_->ListedNameOf(static_cast<uint32_t>(file));
  return !*failure_;
}

void LineBlocks::Finish() {
  if (current_ == nullptr || rowCount_ == 0) {
    return;
  }
  const size_t size = rowCount_ * sizeof(uint32_t);
  auto* rows = heap_->NewArray<uint32_t>(size_t{3} * rowCount_);
  if (rows != nullptr) {
    current_->addresses = rows;
    current_->lines = rows + rowCount_;
    current_->columns = rows + size_t{2} * rowCount_;
    std::memcpy(current_->addresses, addresses_, size);
    std::memcpy(current_->lines, linesOfRows_, size);
    std::memcpy(current_->columns, columns_, size);
    current_->count = static_cast<int32_t>(rowCount_);
  }
  rowCount_ = 0;
}

void LineBlocks::FlushRange() {
  if (!hasRange_) {
    return;
  }
  hasRange_ = false;
  auto* range = heap_->TryNew<DescLineRange>();
  if (range != nullptr) {
    *range = {rangeLow_, rangeHigh_};
    L_InsertData(ranges_, L_AT_TAIL, L_Nop, range);
  }
}
