// A place in a section, and the bytes from there on in the file's byte order.
//
//   Cursor info(&failure, &allowance);
//   info.Use(file, littleEndian);
//   info.Seek(sections.info, offset);
//   const uint32_t length = info.U32();
//
// A cursor holds a window of the file. A read is a compare and a load while the window has the bytes; the next window
// is read out of line. A detour to another section is a second cursor, so nothing has to come back.
//
// What lies past the end of a section reads as the file has it. Past the end of the file every byte is 0xFF.
#pragma once

#include <cstdint>
#include <cstring>

#include "elf/byte_source.h"
#include "records/allowance.h"
#include "records/failure.h"

// A section as cursors take it. `name` is a text of static life, for reasons.
struct SectionPlace {
  const char* name;
  uint32_t offset;  // in the file
  uint32_t size;    // as the header has it; the file may end before
  bool exists;
};

class Cursor {
 public:
  // Bytes that may be read at the position once it was asked for: the longest number and the widest field fit.
  static constexpr uint32_t SPARE = 16;

  // Bytes of a window: of the first as a rule, and at most.
  static constexpr uint32_t DEFAULT_WINDOW = 0x1000;
  static constexpr uint32_t LARGEST_WINDOW = 0x10000;

  Cursor(Failure* failure, Allowance* allowance) : failure_(failure), allowance_(allowance) {}
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;
  ~Cursor();

  // The file that is read from now on. Forgets window and section.
  void Use(const ByteSource* file, bool littleEndian);
  bool IsLittleEndian() const { return littleEndian_; }

  // Goes to `offset` of a section; nothing is read yet. `expected` bytes are read at first, twice as many each time
  // the walk goes on. The form with a section notes the failure when the file does not have it.
  void Seek(const SectionPlace& section, uint32_t offset, uint32_t expected = DEFAULT_WINDOW);
  void Seek(uint32_t offset) { SeekFile(uint64_t{base_} + offset); }

  // The same, and keeps what is read of the next `length` bytes in one window, so that the walk and detours in it stay
  // in memory.
  void SeekKept(const SectionPlace& section, uint32_t offset, uint32_t length, uint32_t expected = LARGEST_WINDOW);

  // Goes to the start of a section and reads it whole into memory of the caller, of WholeSize bytes, where what is in
  // the window lives as long as that memory. Past the section the cursor has windows of its own.
  static size_t WholeSize(const ByteSource* file, const SectionPlace& section);
  void SeekWhole(const SectionPlace& section, uint8_t* memory);
  bool IsInWhole(const void* bytes) const { return window_ == whole_ && bytes >= window_ && bytes < end_; }

  // Goes to `offset` of the section that another cursor reads. Bytes that are in its window are not read again: it must
  // not move until this one has moved on.
  void LookInto(const Cursor& other, uint32_t offset);

  uint32_t Offset() const { return static_cast<uint32_t>(FilePosition() - base_); }  // in the section
  const SectionPlace& Section() const { return section_; }
  uint64_t FilePosition() const { return windowOffset_ + static_cast<uint64_t>(next_ - window_); }
  uint64_t BytesLeft() const {  // of the file
    const uint64_t position = FilePosition();
    return position < fileSize_ ? fileSize_ - position : 0;
  }
  bool AtEnd() const { return BytesLeft() == 0; }  // of the file

  uint8_t U8() {
    Ask();
    return *next_++;
  }
  uint32_t U16() {
    Ask();
    const uint32_t value = Read16(next_);
    next_ += 2;
    return value;
  }
  uint32_t U32() {
    Ask();
    const uint32_t value = Read32(next_);
    next_ += 4;
    return value;
  }
  void Skip(uint64_t count) {
    if (count <= BytesInWindow()) {
      next_ += count;
    } else {
      SeekFile(FilePosition() + count);
    }
  }

  // Copies `count` bytes and moves past them. Bytes past the end of the file are not copied: the result is how many
  // were.
  uint32_t Read(void* buffer, uint32_t count);

  // The length of the text at the position, up to its NUL; `*ended` is false where the file ends first. Nothing moves.
  uint32_t TextLength(bool* ended);

  // The text at the position, when the window has it whole: its length goes to `length`. Null otherwise.
  const uint8_t* TextInWindow(uint32_t* length) {
    const void* nul = std::memchr(next_, 0, BytesInWindow());
    if (nul == nullptr) {
      return nullptr;
    }
    *length = static_cast<uint32_t>(static_cast<const uint8_t*>(nul) - next_);
    return next_;
  }

  // For readers that run over the window with a pointer of their own. At a pointer up to `Limit` SPARE bytes may be
  // read. `SetNext` gives the pointer back; `Ask` reads the next window when the pointer is past the limit.
  const uint8_t* Next() const { return next_; }
  const uint8_t* Limit() const { return limit_; }
  const uint8_t* End() const { return end_; }  // of the file's bytes in the window
  void SetNext(const uint8_t* next) { next_ = next; }
  void Ask() {
    if (next_ > limit_) {
      ReadWindow();
    }
  }

  uint32_t Read16(const uint8_t* bytes) const {
    return littleEndian_ ? static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8
                         : static_cast<uint32_t>(bytes[0]) << 8 | static_cast<uint32_t>(bytes[1]);
  }
  uint32_t Read32(const uint8_t* bytes) const { return littleEndian_ ? Little32(bytes) : Big32(bytes); }

  static uint32_t Little32(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
  }
  static uint32_t Big32(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
  }

  // Charges bytes that were consumed; each byte once, by whoever walked over it, and no more than the file has: a walk
  // that jumped past its end has read no more. Notes the failure when the file has asked for too much, and returns
  // whether it has not.
  bool Charge(uint64_t bytes);

  // Notes a failure at the position.
  void Fail(const char* format, ...) ELFLOADER_PRINTF(2, 3);
  Failure& failure() const { return *failure_; }

 private:
  // Bytes of the file from the position on; the position may be past them.
  size_t BytesInWindow() const { return next_ < end_ ? static_cast<size_t>(end_ - next_) : 0; }

  void SeekFile(uint64_t position);
  void ReadWindow();
  bool GrowWindow(uint64_t position);
  bool Reserve(uint32_t size);
  void FillWindow(uint8_t* buffer, uint64_t offset, uint32_t kept, uint32_t size);
  void ShowNothing(uint64_t position);

  // A window of no bytes, at whose one position the next window is asked for.
  static constexpr uint8_t noBytes_[2] = {};

  Failure* failure_;
  Allowance* allowance_;
  const ByteSource* file_ = nullptr;
  uint64_t fileSize_ = 0;
  bool littleEndian_ = false;
  SectionPlace section_ = {nullptr, 0, 0, false};
  uint64_t base_ = 0;  // of the section in the file

  const uint8_t* window_ = noBytes_ + 1;
  const uint8_t* next_ = noBytes_ + 1;
  const uint8_t* limit_ = noBytes_;
  const uint8_t* end_ = noBytes_ + 1;
  uint64_t windowOffset_ = 0;  // in the file

  uint8_t* buffer_ = nullptr;  // of this cursor; the window is in it unless it is another cursor's
  uint32_t capacity_ = 0;
  uint32_t nextSize_ = DEFAULT_WINDOW;  // of the next window
  uint64_t keptEnd_ = 0;                // in the file: what is before it is kept with the window
  const uint8_t* whole_ = nullptr;      // the caller's memory with a whole section
};
