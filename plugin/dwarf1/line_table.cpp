#include "dwarf1/line_table.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "dwarf1/memory.h"
#include "elf/source_date.h"
#include "records/debug_records.h"
#include "tarnixcore/files.h"

namespace dwarf1 {
namespace {

constexpr int64_t TABLE_HEADER = 8;      // bytes
constexpr int64_t ROW_SIZE = 10;         // bytes
constexpr int64_t ROWS_OF_BLOCK = 1024;  // at most
constexpr uint32_t NO_POSITION = 0xFFFF;

// Directory and name as one path. The name may bear the prefix that made it unique.
char* BuildSourcePath(const DescModule* module) {
  const size_t size = std::strlen(module->directory) + std::strlen(module->name) + 5;
  auto* path = static_cast<char*>(GetMemory(module->heap, size & ~size_t{3}));
  FE_BuildFileName(path, module->directory, module->name, nullptr);
  return path;
}

char* BaseName(char* path) {
  char* base = path;
  for (char* next = path; *next != 0; ++next) {
    if (*next == '/' || *next == '\\') {
      base = next + 1;
    }
  }
  return base;
}

void AddFile(DescModule* module, char* path) {
  for (const DescFile* file = module->files; file != nullptr; file = file->next) {
    if (std::strcmp(file->fullName, path) == 0) {
      return;
    }
    Work().SpendOnRecords(1);
  }
  auto* file = NewRecord<DescFile>(module->heap);
  file->fullName = path;
  file->baseName = BaseName(path);
  file->next = module->files;
  module->files = file;
}

uint32_t* NewRowArray(mem_desc* heap, int32_t count) {
  return static_cast<uint32_t*>(GetMemory(heap, static_cast<size_t>(count) * sizeof(uint32_t)));
}

// Reads `count` rows. Positions have an array only from the first row on that has one.
DescLineBlock* ReadLineBlock(mem_desc* heap, char* path, int32_t count, uint32_t baseAddress) {
  auto* block = NewRecord<DescLineBlock>(heap);
  block->fileName = path;
  block->count = count;
  block->addresses = NewRowArray(heap, count);
  block->lines = NewRowArray(heap, count);
  for (int32_t row = 0; row < count; ++row) {
    block->lines[row] = ReadU32();
    const uint32_t position = ReadU16();
    block->addresses[row] = baseAddress + ReadU32();
    if (position != NO_POSITION && block->columns == nullptr) {
      block->columns = NewRowArray(heap, count);
      std::fill_n(block->columns, row, 0U);
    }
    if (block->columns != nullptr) {
      block->columns[row] = position != NO_POSITION ? position : 0;
    }
  }
  return block;
}

// A table that runs off the file ends with the last whole row that is there.
int64_t RowsInFile(int64_t rowCount) {
  const auto rowsLeft = static_cast<int64_t>(ELF_BytesLeft(dwarf1State.image)) / ROW_SIZE;
  if (rowCount > rowsLeft) {
    Fail("line table without end");
    return rowsLeft;
  }
  return rowCount;
}

void ReadRows(DescModule* module, char* path, int64_t rowCount, uint32_t baseAddress) {
  module->lineBlocks = nullptr;
  ListEnd<DescLineBlock> blocks(&module->lineBlocks);
  const int64_t rows = std::max<int64_t>(RowsInFile(rowCount), 0);
  Work().SpendOnRecords(static_cast<uint64_t>(rows * ROW_SIZE));
  for (int64_t left = rows; left > 0; left -= ROWS_OF_BLOCK) {
    const auto count = static_cast<int32_t>(std::min(left, ROWS_OF_BLOCK));
    blocks.Append(ReadLineBlock(module->heap, path, count, baseAddress));
  }
}

void ReportRange(const DescModule* module, L_list* ranges) {
  if (module->lineBlocks == nullptr) {
    return;
  }
  auto* range = NewRecord<DescLineRange>(module->heap);
  *range = {0xFFFFFFFF, 0};
  for (const DescLineBlock* block = module->lineBlocks; block != nullptr; block = block->next) {
    const auto [low, high] = std::minmax_element(block->addresses, block->addresses + block->count);
    range->low = std::min(range->low, *low);
    range->high = std::max(range->high, *high);
  }
  if (L_InsertData(ranges, L_AT_TAIL, L_Nop, range) == 0) {
    throw std::bad_alloc();
  }
}

}  // namespace

void ReadLineTable(DescModule* module, L_list* ranges) {
  const ElfSectionHeader* section = ELF_FindSection(dwarf1State.image, ".line");
  if (ELF_SeekHeader(dwarf1State.image, module->ext->lineOffset, section) == 0) {
    return;
  }
  const auto length = static_cast<int32_t>(ReadU32());
  if (length > static_cast<int32_t>(section->sh_size)) {
    return;
  }
  const uint32_t baseAddress = ReadU32();
  char* path = BuildSourcePath(module);
  CheckSourceDate(dwarf1State.image, path);
  AddFile(module, path);
  ReadRows(module, path, (length - TABLE_HEADER) / ROW_SIZE - 1, baseAddress);
  ReportRange(module, ranges);
}

}  // namespace dwarf1
