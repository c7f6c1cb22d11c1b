// The file behind an ElfImage: one stream with one position, read in blocks that stay in memory.
//
// A byte costs a compare and a load while it lies in the current block. A block is read when it is first touched and
// kept up to a limit, so that an excursion to another section and back reads nothing again. The file is never mapped: a
// file that shrinks while it is open reads as ended, and nothing crashes.
//
// Behind the end of the file every byte reads as 0xFF and the position stays where it is.
#pragma once

#include <cstdint>
#include <memory>

#include "elf/work_allowance.h"

class ElfStream {
 public:
  static constexpr uint32_t BLOCK_SIZE = 0x4000;

  // Opens a file in binary mode; null when it cannot be opened. A folder, a pipe or a device opens with a size of -1.
  static std::unique_ptr<ElfStream> Open(const char* path);

  ElfStream(const ElfStream&) = delete;
  ElfStream& operator=(const ElfStream&) = delete;
  ~ElfStream();

  int64_t Size() const { return size_; }
  uint32_t ModificationTime() const { return modificationTime_; }

  // What readers may still ask of this file. Granted when it is opened, and anew by whoever begins again.
  WorkAllowance& Work() { return work_; }

  uint64_t Position() const { return windowOffset_ + static_cast<uint64_t>(next_ - window_); }
  uint64_t BytesLeft() const {
    const uint64_t position = Position();
    const auto size = static_cast<uint64_t>(size_);
    return position < size ? size - position : 0;
  }

  // Moves the position, which may lie behind the end. Costs nothing inside the current block.
  void Seek(uint64_t position) {
    const uint64_t inWindow = position - windowOffset_;
    if (inWindow < static_cast<uint64_t>(end_ - window_)) {
      next_ = window_ + inWindow;
    } else {
      SeekOutside(position);
    }
  }

  uint8_t Byte() {
    if (next_ != end_) {
      return *next_++;
    }
    return ByteOfNextBlock();
  }

  // The bytes of the current block from the position on, for reads that look before they take. `Take` moves past
  // `count` of them, at most BytesInBlock().
  const uint8_t* Peek() const { return next_; }
  uint32_t BytesInBlock() const { return static_cast<uint32_t>(end_ - next_); }
  void Take(uint32_t count) { next_ += count; }

  // Whether the file has no byte at the position, so that what is read there is not the file's.
  bool AtEnd() {
    if (next_ == end_) {
      SeekOutside(Position());
    }
    return next_ == end_;
  }

  // Reads up to `count` bytes and gives their number; what lies behind the end of the file is left as it was.
  uint32_t Read(void* buffer, uint32_t count);

 private:
  struct Block {
    uint8_t* bytes;
    uint32_t number;
    uint32_t length;  // BLOCK_SIZE, less in the last block and where the file has shrunk
    uint32_t used;    // since the clock hand came by last
  };

  ElfStream() = default;
  void SeekOutside(uint64_t position);
  uint8_t ByteOfNextBlock();
  bool MakeTables();
  const Block* LoadedBlock(uint64_t number);
  Block* BlockToFill();

  // The window: the loaded part of the current block, or no bytes at a position that no block backs. It is never null,
  // so that those who look before they take may hand it to memchr and memcpy.
  static constexpr uint8_t noBytes_[1] = {};
  const uint8_t* window_ = noBytes_;
  const uint8_t* next_ = noBytes_;
  const uint8_t* end_ = noBytes_;
  uint64_t windowOffset_ = 0;

  int64_t size_ = -1;
  uint32_t modificationTime_ = 0;
  WorkAllowance work_;
  int descriptor_ = -1;
  uint32_t* blockIndex_ = nullptr;  // by block number: index in blocks_ plus 1, 0, or a mark
  uint32_t fileBlocks_ = 0;         // entries of blockIndex_
  Block* blocks_ = nullptr;         // loaded blocks, up to a limit
  uint32_t blockCount_ = 0;
  uint32_t blockLimit_ = 0;
  uint32_t clockHand_ = 0;  // next block to be considered for replacement
};
