// The file behind an ElfImage: one stream with one position, read in blocks that stay in memory.
//
// A byte costs a compare and a load while it lies in the current block. A block is read when it is first touched and
// kept up to a limit, so that an excursion to another section and back reads nothing again. The file is never mapped: a
// file that shrinks while it is open reads as ended, and nothing crashes.
//
// Behind the end of the file every byte reads as 0xFF and the position stays where it is.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

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

  // Reads up to `count` bytes; what lies behind the end of the file is left as it was.
  void Read(void* buffer, uint32_t count);

 private:
  struct Block {
    uint32_t number = 0;
    uint32_t length = 0;
    bool used = false;
    std::unique_ptr<uint8_t[]> bytes;
  };

  ElfStream() = default;
  void SeekOutside(uint64_t position);
  uint8_t ByteOfNextBlock();
  Block* FindBlock(uint64_t number);
  Block* BlockToFill();
  uint32_t ReadFile(uint64_t offset, uint8_t* buffer, uint32_t count) const;

  // The window: the loaded part of the current block, or nothing at a position that no block backs.
  const uint8_t* window_ = nullptr;
  const uint8_t* next_ = nullptr;
  const uint8_t* end_ = nullptr;
  uint64_t windowOffset_ = 0;

  int64_t size_ = -1;
  uint32_t modificationTime_ = 0;
  int descriptor_ = -1;
  std::vector<Block> blocks_;         // loaded blocks, up to a limit
  std::vector<uint32_t> blockIndex_;  // by block number: index in blocks_ plus 1, or 0
  size_t clockHand_ = 0;              // next block to be considered for replacement
};
