#include "records/record_heap.h"

#include <algorithm>

namespace {

constexpr size_t FIRST_CHUNK = 256;      // bytes: many units are tiny
constexpr size_t LARGEST_CHUNK = 65536;  // bytes
constexpr size_t CHUNK_SHARE = 8;        // a chunk is this part of what is used

// With the address sanitizer every record is a piece of its own, so that a step from one to the next is seen.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool HAS_CHUNKS = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool HAS_CHUNKS = false;
#else
constexpr bool HAS_CHUNKS = true;
#endif
#else
constexpr bool HAS_CHUNKS = true;
#endif

}  // namespace

char* RecordHeap::TakeFromHost(size_t size) {
  if (!allowance_->TakeMemory(size)) {
    failure_->Note(nullptr, Failure::NO_OFFSET, "the records take more memory than the file warrants");
    return nullptr;
  }
  auto* memory = static_cast<char*>(HEAP_Get(heap_, size));
  if (memory == nullptr) {
    if (!isQuiet_) {
      failure_->NoteNoMemory();
    }
    return nullptr;
  }
  used_ += size;
  return memory;
}

size_t RecordHeap::NextChunk() const {
  const size_t size = std::clamp(used_ / CHUNK_SHARE, FIRST_CHUNK, LARGEST_CHUNK);
  return (size + ALIGNMENT - 1) & ~(ALIGNMENT - 1);
}

bool RecordHeap::IsForChunk(size_t size) const {
  return HAS_CHUNKS && size <= NextChunk() / 2;
}

bool RecordHeap::TakeChunk() {
  const size_t size = NextChunk();
  char* chunk = TakeFromHost(size);
  if (chunk == nullptr) {
    return false;
  }
  front_ = chunk;
  back_ = chunk + size;
  return true;
}

void* RecordHeap::GetSlowly(size_t size) {
  if (!IsForChunk(size)) {
    return TakeFromHost(size);
  }
  return TakeChunk() ? Get(size) : nullptr;
}

char* RecordHeap::NewText(size_t length) {
  const size_t size = length + 1;
  char* text = nullptr;
  const bool fits = size <= static_cast<size_t>(back_ - front_);
  if (fits || (IsForChunk(size) && TakeChunk())) {
    back_ -= size;
    text = back_;
  } else if (!IsForChunk(size)) {
    text = TakeFromHost(size);
  }
  if (text != nullptr) {
    text[length] = 0;
  }
  return text;
}

char* RecordHeap::TryNewText(size_t length) {
  isQuiet_ = true;
  char* text = NewText(length);
  isQuiet_ = false;
  return text;
}
