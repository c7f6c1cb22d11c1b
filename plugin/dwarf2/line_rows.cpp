#include "dwarf2/line_rows.h"

#include <cstdlib>
#include <cstring>

#include "dwarf2/entries/entries.h"

namespace {

constexpr uint32_t FIRST_FILE_CAPACITY = 64;

// The part behind the last slash or backslash; points into `path`.
char* BaseNameOf(char* path) {
  char* base = path;
  for (char* c = path; *c != 0; ++c) {
    if (*c == '/' || *c == '\\') {
      base = c + 1;
    }
  }
  return base;
}

// Lists a source file when its first block begins, unless a file of that base name is listed already.
void ListFile(LineFile* file) {
  LineState& state = dwarf2State.line;
  file->isListed = true;
  char* baseName = BaseNameOf(file->text);
  const uint32_t hash = HashText(baseName);
  const auto sameName = [baseName](const DescFile* other) { return std::strcmp(other->baseName, baseName) == 0; };
  if (*baseName == 0 || dwarf2State.filesByName.Find<DescFile>(hash, sameName) != nullptr) {
    return;
  }
  auto* record = NewEntryRecord<DescFile>(state.heap);
  if (record == nullptr) {
    return;
  }
  if (!dwarf2State.filesByName.Insert(hash, record)) {
    Fail("no memory for the index of files");
  }
  record->baseName = baseName;
  record->fullName = file->text;
  (state.firstFile == nullptr ? state.firstFile : state.lastFile->next) = record;
  state.lastFile = record;
}

// A copy of the first `count` numbers in the heap; null, with the latch set, without memory.
uint32_t* KeepNumbers(const uint32_t* numbers, uint32_t count) {
  auto* copy = static_cast<uint32_t*>(HEAP_Get(dwarf2State.line.heap, count * sizeof(uint32_t)));
  if (copy == nullptr) {
    Fail("no memory for line rows");
    return nullptr;
  }
  std::memcpy(copy, numbers, count * sizeof(uint32_t));
  return copy;
}

}  // namespace

void BeginLineBlock() {
  LineState& state = dwarf2State.line;
  FinishLineBlock();
  state.blockFile = state.registers.file;
  auto* block = NewEntryRecord<DescLineBlock>(state.heap);
  if (block == nullptr) {
    return;
  }
  block->fileName = EmptyString();
  (state.firstBlock == nullptr ? state.firstBlock : state.currentBlock->next) = block;
  state.currentBlock = block;
  if (state.blockFile < 1 || static_cast<uint32_t>(state.blockFile) > state.fileCount) {
    return;
  }
  LineFile* file = &state.files[state.blockFile - 1];
  block->fileName = file->text;
  if (!file->isListed) {
    ListFile(file);
  }
}

void GrowLineRange(uint32_t address) {
  LineState& state = dwarf2State.line;
  DescLineRange* range = state.pendingRange;
  if (range != nullptr) {
    if (address < range->high) {
      return;  // a range does not grow downward
    }
    if (address < LINE_RANGE_GAP || address - LINE_RANGE_GAP <= range->high) {
      range->high = address;
      return;
    }
    FlushCodeRange();
  }
  state.pendingRange = NewEntryRecord<DescLineRange>(state.heap);
  if (state.pendingRange != nullptr) {
    state.pendingRange->low = state.pendingRange->high = address;
  }
}

void FinishLineBlock() {
  LineState& state = dwarf2State.line;
  DescLineBlock* block = state.currentBlock;
  if (block == nullptr || state.rowCount == 0) {
    return;
  }
  block->addresses = KeepNumbers(state.addresses, state.rowCount);
  block->lines = KeepNumbers(state.lines, state.rowCount);
  block->columns = KeepNumbers(state.columns, state.rowCount);
  if (block->columns != nullptr && block->lines != nullptr && block->addresses != nullptr) {
    block->count = static_cast<int32_t>(state.rowCount);
  }
  state.rowCount = 0;
}

void FlushCodeRange() {
  LineState& state = dwarf2State.line;
  if (state.pendingRange == nullptr) {
    return;
  }
  if (L_InsertData(state.codeRanges, L_AT_TAIL, L_Nop, state.pendingRange) == 0) {
    Fail("no memory for a code range");
  }
  state.pendingRange = nullptr;
}

bool AddLineFile(char* text) {
  LineState& state = dwarf2State.line;
  if (state.fileCount == state.fileCapacity) {
    const uint32_t capacity = state.fileCapacity == 0 ? FIRST_FILE_CAPACITY : 2 * state.fileCapacity;
    auto* files = static_cast<LineFile*>(std::realloc(state.files, capacity * sizeof(LineFile)));
    if (files == nullptr) {
      Fail("no memory for the file table");
      return false;
    }
    state.files = files;
    state.fileCapacity = capacity;
  }
  state.files[state.fileCount++] = {text, false};
  return true;
}
