// Blocks of the open file: where they come from, and which one goes when the limit is reached.
#include "elf/elf_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

// Blocks kept: few as long as the file is read front to back, for their memory is then used over and over; one more for
// each block that has to be read again, up to what a section takes that readers jump about in.
constexpr uint32_t FEW_BLOCKS = 0x80000 / ElfStream::BLOCK_SIZE;
constexpr uint32_t MAX_BLOCKS = 0x2000000 / ElfStream::BLOCK_SIZE;
constexpr uint32_t WAS_LOADED = 0x80000000;  // in the index of blocks: read once, and replaced since
// A 32-bit section start plus a 32-bit offset.
constexpr uint64_t MAX_POSITION = 0x200000000;
constexpr uint8_t END_OF_FILE_BYTE = 0xFF;

// A descriptor that does not wait for a pipe's other end, or -1.
int OpenDescriptor(const char* path) {
#if defined(_WIN32)
  return _open(path, _O_RDONLY | _O_BINARY);
#else
  return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
#endif
}

// `size` is -1 for what is no regular file.
bool FileStatus(int descriptor, int64_t* size, int64_t* modified) {
#if defined(_WIN32)
  struct _stat64 status;
  const bool known = _fstat64(descriptor, &status) == 0;
  const bool regular = known && (status.st_mode & _S_IFMT) == _S_IFREG;
#else
  struct stat status;
  const bool known = fstat(descriptor, &status) == 0;
  const bool regular = known && S_ISREG(status.st_mode);
#endif
  if (known) {
    *size = regular ? static_cast<int64_t>(status.st_size) : -1;
    *modified = static_cast<int64_t>(status.st_mtime);
  }
  return known;
}

// Bytes read at `offset`, 0 at the end and on an error.
uint32_t ReadAt(int descriptor, uint64_t offset, uint8_t* buffer, uint32_t count) {
#if defined(_WIN32)
  if (_lseeki64(descriptor, static_cast<int64_t>(offset), SEEK_SET) < 0) {
    return 0;
  }
  const int got = _read(descriptor, buffer, count);
#else
  const ssize_t got = pread(descriptor, buffer, count, static_cast<off_t>(offset));
#endif
  return got > 0 ? static_cast<uint32_t>(got) : 0;
}

void CloseDescriptor(int descriptor) {
#if defined(_WIN32)
  _close(descriptor);
#else
  close(descriptor);
#endif
}

}  // namespace

std::unique_ptr<ElfStream> ElfStream::Open(const char* path) {
  const int descriptor = OpenDescriptor(path);
  if (descriptor < 0) {
    return nullptr;
  }
  std::unique_ptr<ElfStream> stream(new (std::nothrow) ElfStream());
  int64_t modified = 0;
  if (stream == nullptr || !FileStatus(descriptor, &stream->size_, &modified)) {
    CloseDescriptor(descriptor);
    return nullptr;
  }
  stream->descriptor_ = descriptor;
  stream->modificationTime_ = static_cast<uint32_t>(modified);
  stream->work_.Grant(stream->size_);
  return stream;
}

ElfStream::~ElfStream() {
  if (descriptor_ >= 0) {
    CloseDescriptor(descriptor_);
  }
  for (uint32_t i = 0; i < blockCount_; ++i) {
    std::free(blocks_[i].bytes);
  }
  std::free(blocks_);
  std::free(blockIndex_);
}

void ElfStream::SeekOutside(uint64_t position) {
  window_ = next_ = end_ = noBytes_;
  windowOffset_ = position;
  if (position >= static_cast<uint64_t>(size_)) {
    return;
  }
  const Block* block = LoadedBlock(position / BLOCK_SIZE);
  const auto inBlock = static_cast<uint32_t>(position % BLOCK_SIZE);
  if (block == nullptr || inBlock >= block->length) {
    return;
  }
  windowOffset_ = position - inBlock;
  window_ = block->bytes;
  next_ = window_ + inBlock;
  end_ = window_ + block->length;
}

uint8_t ElfStream::ByteOfNextBlock() {
  SeekOutside(Position());
  return next_ != end_ ? *next_++ : END_OF_FILE_BYTE;
}

uint32_t ElfStream::Read(void* buffer, uint32_t count) {
  auto* out = static_cast<uint8_t*>(buffer);
  uint32_t done = 0;
  while (done < count && !AtEnd()) {
    const uint32_t part = std::min(count - done, BytesInBlock());
    std::memcpy(out + done, next_, part);
    next_ += part;
    done += part;
  }
  return done;
}

// The tables of blocks, made when the first block is read.
bool ElfStream::MakeTables() {
  const uint64_t reach = std::min(static_cast<uint64_t>(size_), MAX_POSITION);
  fileBlocks_ = static_cast<uint32_t>((reach + BLOCK_SIZE - 1) / BLOCK_SIZE);
  blockIndex_ = static_cast<uint32_t*>(std::calloc(fileBlocks_, sizeof(uint32_t)));
  blocks_ = static_cast<Block*>(std::calloc(std::min(fileBlocks_, MAX_BLOCKS), sizeof(Block)));
  blockLimit_ = FEW_BLOCKS;
  if (blockIndex_ == nullptr || blocks_ == nullptr) {
    fileBlocks_ = 0;  // the file reads as ended
    return false;
  }
  return true;
}

// The block with that number, read now if need be; null when the file does not reach it or there is no memory.
const ElfStream::Block* ElfStream::LoadedBlock(uint64_t number) {
  if (blockIndex_ == nullptr && !MakeTables()) {
    return nullptr;
  }
  if (number >= fileBlocks_) {
    return nullptr;
  }
  if (blockIndex_[number] == WAS_LOADED) {
    blockLimit_ = std::min(blockLimit_ + 1, MAX_BLOCKS);
  } else if (blockIndex_[number] != 0) {
    Block* loaded = &blocks_[blockIndex_[number] - 1];
    loaded->used = 1;
    return loaded;
  }
  Block* block = BlockToFill();
  if (block == nullptr) {
    return nullptr;
  }
  block->number = static_cast<uint32_t>(number);
  block->used = 1;
  block->length = ReadAt(descriptor_, number * BLOCK_SIZE, block->bytes, BLOCK_SIZE);
  blockIndex_[number] = static_cast<uint32_t>(block - blocks_) + 1;
  return block;
}

// A block with memory: a new one up to the limit, then one that was not used since the clock hand came by last.
ElfStream::Block* ElfStream::BlockToFill() {
  if (blockCount_ < blockLimit_) {
    auto* bytes = static_cast<uint8_t*>(std::malloc(BLOCK_SIZE));
    if (bytes != nullptr) {
      blocks_[blockCount_].bytes = bytes;
      return &blocks_[blockCount_++];
    }
  }
  if (blockCount_ == 0) {
    return nullptr;
  }
  while (blocks_[clockHand_].used != 0) {
    blocks_[clockHand_].used = 0;
    clockHand_ = (clockHand_ + 1) % blockCount_;
  }
  Block* block = &blocks_[clockHand_];
  clockHand_ = (clockHand_ + 1) % blockCount_;
  blockIndex_[block->number] = WAS_LOADED;
  return block;
}
