#include "dwarf2/lines/line_blocks.h"

#include "dwarf/base_name.h"

void LineBlocks::Begin(L_list* ranges) {
  ranges_ = ranges;
  files_.Empty();
  filesByName_.Empty();
  firstFile_ = lastFile_ = nullptr;
  firstBlock_ = current_ = nullptr;
  blockFile_ = 1;
  hasRange_ = false;
  rowCount_ = 0;
}

void LineBlocks::AddFile(uint32_t offset, uint32_t length) {
  if (!files_.Push({offset, length, nullptr, false})) {
    failure_->NoteNoMemory();
  }
}

char* LineBlocks::TextOf(File* file) {
  if (file->text == nullptr) {
    char* text = heap_->NewText(file->length);
    if (text == nullptr) {
      return EmptyString();
    }
    names_.LookInto(*program_, file->offset);
    const uint32_t got = names_.Read(text, file->length);
    std::memset(text + got, 0, file->length - got);  // less only when the file changes meanwhile
    file->text = text;
  }
  return file->text;
}

char* LineBlocks::FileOf(uint32_t number) {
  return number >= 1 && number <= files_.Count() ? TextOf(&files_[number - 1]) : EmptyString();
}

// Lists a source file when its first block begins, unless a file of that base name is listed already.
void LineBlocks::ListFile(File* file) {
  file->isListed = true;
  char* baseName = BaseNameOf(file->text);
  const uint32_t hash = HashText(baseName);
  const auto hasName = [baseName](const DescFile* other) { return std::strcmp(other->baseName, baseName) == 0; };
  if (*baseName == 0 || filesByName_.Find<DescFile>(hash, hasName) != nullptr) {
    return;
  }
  auto* record = heap_->New<DescFile>();
  if (record == nullptr) {
    return;
  }
  if (!filesByName_.Insert(hash, record)) {
    failure_->NoteNoMemory();
  }
  record->baseName = baseName;
  record->fullName = file->text;
  (firstFile_ == nullptr ? firstFile_ : lastFile_->next) = record;
  lastFile_ = record;
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
  if (file >= 1 && static_cast<uint32_t>(file) <= files_.Count()) {
    File* entry = &files_[static_cast<uint32_t>(file) - 1];
    block->fileName = TextOf(entry);
    if (!entry->isListed && entry->text != nullptr) {
      ListFile(entry);
    }
  }
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
