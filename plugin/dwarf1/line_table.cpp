#include "dwarf1/line_table.h"

#include <algorithm>
#include <cstring>

#include "dwarf/base_name.h"
#include "elf/source_date.h"
#include "records/debug_records.h"
#include "tarnixcore/files.h"

namespace dwarf1 {
namespace {

constexpr int64_t TABLE_HEADER = 8;      // bytes
constexpr int64_t ROW_SIZE = 10;         // bytes
constexpr int64_t ROWS_OF_BLOCK = 1024;  // at most
constexpr uint32_t NO_POSITION = 0xFFFF;
static_assert(ROW_SIZE <= Cursor::SPARE);

// Directory and name as one path. The name may have the prefix that made it unique.
char* BuildSourcePath(RecordHeap* heap, const DescModule* module) {
  char* path = heap->NewText(std::strlen(module->directory) + std::strlen(module->name) + 1);
  if (path == nullptr) {
    return EmptyString();
  }
  FE_BuildFileName(path, module->directory, module->name, nullptr);
  return path;
}

void AddFile(RecordHeap* heap, DescModule* module, char* path) {
  DescFile* file = Prepend(&module->files, heap->New<DescFile>());
  if (file != nullptr) {
    file->fullName = path;
    file->baseName = BaseNameOf(path);
  }
}

// Reads `count` rows, and widens `covered` to their addresses. Positions have an array only from the first row on that
// has one. Null without memory.
DescLineBlock* ReadLineBlock(Cursor* lines, RecordHeap* heap, int32_t count, uint32_t baseAddress,
                             DescLineRange* covered) {
  const auto rows = static_cast<size_t>(count);
  auto* block = heap->New<DescLineBlock>();
  auto* addresses = heap->NewArray<uint32_t>(rows);
  auto* numbers = heap->NewArray<uint32_t>(rows);
  if (block == nullptr || addresses == nullptr || numbers == nullptr) {
    return nullptr;
  }
  uint32_t* columns = nullptr;
  for (size_t row = 0; row < rows; ++row) {
    lines->Ask();
    const uint8_t* bytes = lines->Next();
    lines->SetNext(bytes + ROW_SIZE);
    const uint32_t position = lines->Read16(bytes + 4);
    const uint32_t address = baseAddress + lines->Read32(bytes + 6);
    numbers[row] = lines->Read32(bytes);
    addresses[row] = address;
    covered->low = std::min(covered->low, address);
    covered->high = std::max(covered->high, address);
    if (position != NO_POSITION && columns == nullptr) {
      columns = heap->NewArray<uint32_t>(rows);
      if (columns == nullptr) {
        return nullptr;
      }
      std::fill_n(columns, row, 0U);
    }
    if (columns != nullptr) {
      columns[row] = position != NO_POSITION ? position : 0;
    }
  }
  block->count = count;
  block->addresses = addresses;
  block->lines = numbers;
  block->columns = columns;
  return block;
}

// Without memory nothing is reported, and the fill goes on.
void ReportRange(const DescLineRange& covered, mem_desc* heap, L_list* ranges) {
  auto* range = static_cast<DescLineRange*>(HEAP_Get(heap, sizeof(DescLineRange)));
  if (range != nullptr) {
    *range = covered;
    L_InsertData(ranges, L_AT_TAIL, L_Nop, range);
  }
}

void ReadRows(Cursor* lines, RecordHeap* heap, DescModule* module, char* path, int64_t rowCount, uint32_t baseAddress,
              L_list* ranges) {
  ListTail<DescLineBlock> blocks(&module->lineBlocks);
  DescLineRange covered = {0xFFFFFFFF, 0};
  for (int64_t left = rowCount; left > 0; left -= ROWS_OF_BLOCK) {
    const auto count = static_cast<int32_t>(std::min(left, ROWS_OF_BLOCK));
    DescLineBlock* block = ReadLineBlock(lines, heap, count, baseAddress, &covered);
    if (block == nullptr) {
      break;
    }
    block->fileName = path;
    blocks.Append(block);
  }
  if (module->lineBlocks != nullptr) {
    ReportRange(covered, heap->Heap(), ranges);
  }
}

}  // namespace

void ReadLineTable(const File& file, Cursor* lines, RecordHeap* heap, DescModule* module, L_list* ranges) {
  if (!file.lines.exists) {
    return;
  }
  lines->Seek(file.lines, module->ext->lineOffset);
  const auto length = static_cast<int32_t>(lines->U32());
  if (length > static_cast<int32_t>(file.lines.size)) {
    return;
  }
  const uint32_t baseAddress = lines->U32();
  int64_t rowCount = std::max<int64_t>((length - TABLE_HEADER) / ROW_SIZE - 1, 0);
  const auto rowsInFile = static_cast<int64_t>(lines->BytesLeft()) / ROW_SIZE;
  if (rowCount > rowsInFile) {
    lines->Fail("the file ends in the line table");
    rowCount = rowsInFile;
  }
  if (!lines->Charge(static_cast<uint64_t>(TABLE_HEADER + rowCount * ROW_SIZE))) {
    return;
  }
  char* path = BuildSourcePath(heap, module);
  CheckSourceDate(file.image, path);
  AddFile(heap, module, path);
  ReadRows(lines, heap, module, path, rowCount, baseAddress, ranges);
}

}  // namespace dwarf1
