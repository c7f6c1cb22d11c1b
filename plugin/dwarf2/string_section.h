// The texts of .debug_str: one block of the section's size in the table heap, of which parts are read when they are
// first asked for. Names in records point into it, so they live as long as the table.
#pragma once

#include <cstdint>

#include "elf/byte_source.h"
#include "elf/cursor.h"
#include "records/failure.h"
#include "tarnixcore/heap.h"

class StringSection {
 public:
  // Makes room for the section. Without memory, and without a section, it has no texts.
  void Make(mem_desc* tableHeap, const ByteSource* file, const SectionPlace& section);
  bool IsMade() const { return isMade_; }
  bool LacksMemory() const { return isMade_ && partCount_ != 0 && (bytes_ == nullptr || states_ == nullptr); }

  // The text at an offset. Null for a text that does not end in the section: it has to be read from the file.
  char* At(uint32_t offset, const ByteSource* file, Failure* failure) {
    if (offset >= end_) {
      return nullptr;
    }
    if (states_[offset / PART] != READY) {
      MakeReady(offset / PART, file, failure);
    }
    return bytes_ + offset;
  }

 private:
  static constexpr uint32_t PART = 0x10000;  // bytes

  // Of a part: whether its bytes are there, and whether all texts that begin in it are there to their end.
  enum State : uint8_t { MISSING, LOADED, READY };

  void Load(uint32_t part, const ByteSource* file, Failure* failure);
  void MakeReady(uint32_t part, const ByteSource* file, Failure* failure);
  void FindEnd(const ByteSource* file, Failure* failure);
  uint32_t PartSize(uint32_t part) const;

  char* bytes_ = nullptr;
  uint8_t* states_ = nullptr;
  uint32_t size_ = 0;  // of the section, as far as the file has it
  uint32_t end_ = 0;   // after the last NUL
  uint32_t partCount_ = 0;
  uint32_t fileOffset_ = 0;
  bool isMade_ = false;
};
