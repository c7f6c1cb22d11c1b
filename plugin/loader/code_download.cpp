// Code download: the program segments into the target's memory in blocks of 512 bytes, read back on request, and the
// start address. Works from the program header table; sections play no part.
//
// All segments are checked before a byte is written. Whatever ends a download, the blocks before it stay in the target
// and the start address is not set.
#include "loader/code_download.h"

#include <cstdio>

#include "elf/section_access.h"
#include "loader/elf_loader.h"
#include "tarnixcore/messages.h"

namespace {

constexpr unsigned long VERIFY_FLAGS = LOAD_VERIFY_QUICK | LOAD_VERIFY_ALL | LOAD_VERIFY_ONLY;
constexpr int CONTROL_BEFORE_CHECKS = 1;
constexpr int CONTROL_BEHIND_CHECKS = 0;

// A load unit: a PT_LOAD header that takes room in the target.
struct LoadUnit {
  uint32_t address;
  uint32_t fileSize;    // bytes to write; 0 leaves the memory as it is
  uint32_t memorySize;  // bytes to check; never 0
  uint32_t flags;       // p_flags
};

// Reports false for a header with nothing to load. Positions the stream at the unit's bytes.
bool GetLoadUnit(ElfImage* image, uint32_t index, LoadUnit* unit) {
  return ELF_GetSegment(image, index, &unit->address, &unit->fileSize, &unit->memorySize, &unit->flags) != 0 &&
         unit->memorySize != 0;
}

bool HasDialog(unsigned long flags) {
  return (flags & LOAD_NO_PROGRESS) == 0;
}

void CloseDialog(unsigned long flags) {
  if (HasDialog(flags)) {
    DLG_CloseLoadProgress();
  }
}

void ReportDifference(uint32_t address, unsigned long flags) {
  CloseDialog(flags);
  char text[80];
  snprintf(text, sizeof(text), "Loading verification failed at address 0x%.8X", static_cast<unsigned>(address));
  MessageBoxA(nullptr, text, "Elf Loader", MB_OK | MB_ICONWARNING);
}

void ReportWriteError(uint32_t first, uint32_t last, unsigned long flags) {
  CloseDialog(flags);
  char text[80];
  snprintf(text, sizeof(text), "Error while writing to %lX..%lX", static_cast<unsigned long>(first),
           static_cast<unsigned long>(last));
  MessageBoxA(nullptr, text, "Elf-Loader", MB_OK | MB_ICONWARNING);
}

// Bytes read, fewer than asked for where the file ends. The count of ELF_ReadBlock does not tell, but the position of
// the stream stays at the end: also at that of a file that has shrunk since it was opened.
uint32_t ReadFileBlock(ElfImage* image, uint8_t* buffer, uint32_t length) {
  const uint64_t start = image->file->Position();
  uint32_t count = 0;
  ELF_ReadBlock(image, buffer, length, &count);
  return static_cast<uint32_t>(image->file->Position() - start);
}

uint32_t CompareLength(uint32_t length, unsigned long flags) {
  return (flags & LOAD_VERIFY_QUICK) != 0 && length >= LOAD_QUICK_VERIFY_SIZE ? LOAD_QUICK_VERIFY_SIZE : length;
}

// Reads the block back and compares; `difference` receives the offset of the first byte that differs. The result of
// ReadBlock is not looked at: what it did not fill shows as a difference, since the read-back starts as the complement.
bool VerifyBlock(Target* target, Address address, const uint8_t* block, uint32_t length, uint32_t* difference) {
  uint8_t readBack[LOAD_BLOCK_SIZE];
  for (uint32_t i = 0; i < length; i++) {
    readBack[i] = static_cast<uint8_t>(~block[i]);
  }
  target->ReadBlock(address, readBack, length, LOAD_ACCESS_MODE);
  for (uint32_t i = 0; i < length; i++) {
    if (readBack[i] != block[i]) {
      *difference = i;
      return false;
    }
  }
  return true;
}

}  // namespace

int ElfLoader::CheckSegment(Target* target, uint32_t index, unsigned long* total) {
  LoadUnit unit;
  if (!GetLoadUnit(image, index, &unit)) {
    return 1;
  }
  if (unit.fileSize != 0) {
    *total += unit.memorySize;
  }
  // A range that runs over the end of the address space reaches the target with its last address below its first.
  return target->CheckMemory(unit.address, unit.address + unit.memorySize - 1, "",
                             (unit.flags & PF_W) != 0 ? TARGET_WRITABLE : TARGET_READ_ONLY);
}

int ElfLoader::LoadSegment(Target* target, uint32_t index, unsigned long* done, unsigned long flags) {
  LoadUnit unit;
  if (!GetLoadUnit(image, index, &unit)) {
    return 1;
  }
  uint8_t block[LOAD_BLOCK_SIZE];
  Address address{unit.address};
  for (uint32_t remaining = unit.fileSize; remaining != 0;) {
    const uint32_t length = remaining > LOAD_BLOCK_SIZE ? LOAD_BLOCK_SIZE : remaining;
    const uint32_t last = address.offset + length - 1;
    const bool writes = (flags & LOAD_VERIFY_ONLY) == 0;

    const uint32_t backed = ReadFileBlock(image, block, length);
    if (backed < length) {  // bytes that the file does not have go nowhere
      writes ? ReportWriteError(address.offset, last, flags) : ReportDifference(address.offset + backed, flags);
      return 0;
    }
    const int status = writes ? target->WriteBlock(address, block, length, LOAD_ACCESS_MODE) : 1;

    // In front of the write's own result: a failed write shows as a difference when it is read back.
    uint32_t difference = 0;
    if ((flags & VERIFY_FLAGS) != 0 &&
        !VerifyBlock(target, address, block, CompareLength(length, flags), &difference)) {
      ReportDifference(address.offset + difference, flags);
      return 0;
    }
    const uint32_t first = address.offset;
    address.offset += length;
    remaining -= length;
    *done += length;
    if (HasDialog(flags) && DLG_SetLoadProgress(*done) == 0) {
      DLG_CloseLoadProgress();
      return 0;
    }
    if (status != 1) {
      ReportWriteError(first, last, flags);
      return 0;
    }
  }
  return 1;
}

int ElfLoader::LoadCode(Target* target, unsigned char /*reserved*/, unsigned long flags) {
  if (image == nullptr || target == nullptr) {
    return 0;
  }
  // Without a program header table there is nothing to check or write, and no entry to set: the calls round the checks
  // are made all the same, and the download has failed.
  uint32_t machine = 0;
  uint32_t headerCount = 0;
  uint32_t entry = 0;
  const bool hasTable = ELF_GetMachine(image, &machine, &headerCount, &entry) != 0;

  unsigned long total = 0;
  unsigned long done = 0;
  target->Control(CONTROL_BEFORE_CHECKS);
  int fits = 1;
  for (uint32_t i = 0; i < headerCount && fits != 0; i++) {
    fits = CheckSegment(target, i, &total);
  }
  if (HasDialog(flags)) {
    DLG_CreateLoadProgressDlg("Loading Code", total);
  }
  target->Control(CONTROL_BEHIND_CHECKS);
  if (fits == 0) {
    CloseDialog(flags);
    return 0;
  }
  for (uint32_t i = 0; i < headerCount; i++) {
    if (LoadSegment(target, i, &done, flags) == 0) {
      return 0;
    }
  }
  CloseDialog(flags);
  return hasTable && target->SetStartAddress(entry) != 0 ? 1 : 0;
}
