// Code download: the program segments into the target's memory in blocks of 512 bytes, read back on request, and the
// start address. Works from the program header table; sections are not used.
//
// All segments are checked before a byte is written. Whatever ends a download, the blocks before it stay in the target
// and the start address is not set.
#include "loader/code_download.h"

#include <algorithm>
#include <cstdio>

#include "elf/sections.h"
#include "loader/elf_loader.h"
#include "tarnixcore/messages.h"

namespace {

constexpr unsigned long VERIFY_FLAGS = LOAD_VERIFY_QUICK | LOAD_VERIFY_ALL | LOAD_VERIFY_ONLY;
constexpr int CONTROL_BEFORE_CHECKS = 1;
constexpr int CONTROL_AFTER_CHECKS = 0;

void Warn(const char* text, const char* caption) {
  MessageBoxA(nullptr, text, caption, MB_OK | MB_ICONWARNING);
}

// One download. A failure of LoadAll has closed the dialog and shown its message.
class Download {
 public:
  Download(const ElfImage* image, Target* target, unsigned long flags) : image_(image), target_(target), flags_(flags) {
    allowance_.Grant(static_cast<uint64_t>(image->file->Size()));
    file_.Use(image->file, ELF_IsLittleEndian(image));
  }

  int Run();

 private:
  // A piece of a segment, as it goes to the target.
  struct Block {
    uint32_t address;
    uint32_t length;
    uint8_t bytes[LOAD_BLOCK_SIZE];
  };

  bool CheckAll(uint32_t count);
  bool LoadAll(uint32_t count);
  bool LoadSegment(const ElfSegment& segment);
  bool LoadBlock(Block* block);
  bool ReadFile(Block* block);
  bool Verify(const Block& block);
  void CloseDialog() const;
  void ReportDifference(uint32_t address) const;
  void ReportWriteError(const Block& block) const;

  bool HasDialog() const { return (flags_ & LOAD_NO_PROGRESS) == 0; }
  bool Writes() const { return (flags_ & LOAD_VERIFY_ONLY) == 0; }

  const ElfImage* image_;
  Target* target_;
  unsigned long flags_;
  unsigned long total_ = 0;  // bytes
  unsigned long done_ = 0;
  Failure unreported_;  // what fails here has messages of its own
  Allowance allowance_;
  Cursor file_{&unreported_, &allowance_};
};

void Download::CloseDialog() const {
  if (HasDialog()) {
    DLG_CloseLoadProgress();
  }
}

void Download::ReportDifference(uint32_t address) const {
  CloseDialog();
  char text[80];
  std::snprintf(text, sizeof(text), "Loading verification failed at address 0x%.8X", static_cast<unsigned>(address));
  Warn(text, "Elf Loader");
}

void Download::ReportWriteError(const Block& block) const {
  CloseDialog();
  char text[80];
  std::snprintf(text, sizeof(text), "Error while writing to %lX..%lX", static_cast<unsigned long>(block.address),
                static_cast<unsigned long>(block.address + block.length - 1));
  Warn(text, "Elf-Loader");
}

// Bytes that the file does not have go nowhere, nor do those of segments that share them over and over.
bool Download::ReadFile(Block* block) {
  file_.Ask();
  const uint32_t got = allowance_.Consume(block->length) ? file_.Read(block->bytes, block->length) : 0;
  if (got == block->length) {
    return true;
  }
  if (Writes()) {
    ReportWriteError(*block);
  } else {
    ReportDifference(block->address + got);
  }
  return false;
}

// Reads the block back and compares. The result of ReadBlock is not looked at: what it did not fill shows as a
// difference, since the read-back starts as the complement.
bool Download::Verify(const Block& block) {
  const bool isQuick = (flags_ & LOAD_VERIFY_QUICK) != 0;
  const uint32_t length = isQuick ? std::min(block.length, LOAD_QUICK_VERIFY_SIZE) : block.length;
  uint8_t readBack[LOAD_BLOCK_SIZE];
  std::transform(block.bytes, block.bytes + length, readBack, [](uint8_t byte) { return static_cast<uint8_t>(~byte); });
  target_->ReadBlock({block.address, 0}, readBack, length, LOAD_ACCESS_MODE);
  const auto difference = std::mismatch(readBack, readBack + length, block.bytes).first - readBack;
  if (static_cast<uint32_t>(difference) == length) {
    return true;
  }
  ReportDifference(block.address + static_cast<uint32_t>(difference));
  return false;
}

bool Download::LoadBlock(Block* block) {
  if (!ReadFile(block)) {
    return false;
  }
  const int status =
      Writes() ? target_->WriteBlock({block->address, 0}, block->bytes, block->length, LOAD_ACCESS_MODE) : 1;
  // Before the write's own result: a failed write shows as a difference when it is read back.
  if ((flags_ & VERIFY_FLAGS) != 0 && !Verify(*block)) {
    return false;
  }
  done_ += block->length;
  if (HasDialog() && DLG_SetLoadProgress(done_) == 0) {
    DLG_CloseLoadProgress();
    return false;
  }
  if (status != 1) {
    ReportWriteError(*block);
    return false;
  }
  return true;
}

bool Download::LoadSegment(const ElfSegment& segment) {
  file_.Seek({"segment", segment.offset, segment.fileSize, true}, 0, segment.fileSize);
  Block block;
  for (uint32_t offset = 0; offset < segment.fileSize; offset += block.length) {
    block.address = segment.address + offset;
    block.length = std::min(segment.fileSize - offset, LOAD_BLOCK_SIZE);
    if (!LoadBlock(&block)) {
      return false;
    }
  }
  return true;
}

// A load unit is a PT_LOAD header that takes room in the target. A range that goes past the end of the address space
// reaches the target with its last address below its first.
bool Download::CheckAll(uint32_t count) {
  ElfSegment segment;
  for (uint32_t i = 0; i < count; ++i) {
    if (ELF_GetSegment(image_, i, &segment) == 0 || segment.memorySize == 0) {
      continue;
    }
    total_ += segment.fileSize != 0 ? segment.memorySize : 0;
    const int memoryType = (segment.flags & PF_W) != 0 ? TARGET_WRITABLE : TARGET_READ_ONLY;
    if (target_->CheckMemory(segment.address, segment.address + segment.memorySize - 1, "", memoryType) == 0) {
      return false;
    }
  }
  return true;
}

bool Download::LoadAll(uint32_t count) {
  ElfSegment segment;
  for (uint32_t i = 0; i < count; ++i) {
    if (ELF_GetSegment(image_, i, &segment) != 0 && segment.memorySize != 0 && !LoadSegment(segment)) {
      return false;
    }
  }
  return true;
}

int Download::Run() {
  // Without a program header table there is nothing to check or write, and no entry to set: the calls round the checks
  // are made all the same, and the download has failed.
  uint32_t machine = 0;
  uint32_t headerCount = 0;
  uint32_t entry = 0;
  const bool hasTable = ELF_GetMachine(image_, &machine, &headerCount, &entry) != 0;

  target_->Control(CONTROL_BEFORE_CHECKS);
  const bool fits = CheckAll(headerCount);
  if (HasDialog()) {
    DLG_CreateLoadProgressDlg("Loading Code", total_);
  }
  target_->Control(CONTROL_AFTER_CHECKS);
  if (!fits) {
    CloseDialog();
    return 0;
  }
  if (!LoadAll(headerCount)) {
    return 0;
  }
  CloseDialog();
  return hasTable && target_->SetStartAddress(entry) != 0 ? 1 : 0;
}

}  // namespace

int ElfLoader::LoadCode(Target* target, unsigned char /*reserved*/, unsigned long flags) {
  return image != nullptr && target != nullptr ? Download(image, target, flags).Run() : 0;
}
