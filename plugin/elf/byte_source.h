// A file as a source of bytes with a size and a date: opened by its path, or given as memory.
//
// The file is never mapped: a file that shrinks while it is open reads as ended, and nothing crashes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

class ByteSource {
 public:
  // Opens a file in binary mode; null when it cannot be opened. A folder, a pipe, a socket or a device is
  // not opened: its source has a size of -1.
  static std::unique_ptr<ByteSource> Open(const char* path);

  // Bytes that the caller keeps until the source is gone. Null without memory.
  static std::unique_ptr<ByteSource> FromMemory(const void* bytes, size_t size);

  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  ~ByteSource();

  int64_t Size() const { return size_; }
  uint32_t ModificationTime() const { return modificationTime_; }  // seconds, as FE_FileModTimeV has it
  bool HasModificationTime() const { return descriptor_ >= 0; }    // bytes in memory have none

  // Reads up to `count` bytes at `offset` and returns their number, which is less only at the end of the file.
  uint32_t ReadAt(uint64_t offset, void* buffer, uint32_t count) const;

 private:
  ByteSource() = default;

  const uint8_t* memory_ = nullptr;  // null: a file
  int64_t size_ = -1;
  uint32_t modificationTime_ = 0;
  int descriptor_ = -1;
};
