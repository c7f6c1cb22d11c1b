#include "dwarf2/string_section.h"

#include <algorithm>
#include <cstring>

void StringSection::Make(mem_desc* tableHeap, const ByteSource* file, const SectionPlace& section) {
  isMade_ = true;
  const auto fileSize = static_cast<uint64_t>(std::max<int64_t>(file->Size(), 0));
  const uint64_t left = section.offset < fileSize ? fileSize - section.offset : 0;
  size_ = static_cast<uint32_t>(std::min<uint64_t>(section.size, left));
  fileOffset_ = section.offset;
  partCount_ = size_ / PART + (size_ % PART != 0 ? 1 : 0);
  if (!section.exists || size_ == 0) {
    return;
  }
  bytes_ = static_cast<char*>(HEAP_Get(tableHeap, size_));
  states_ = static_cast<uint8_t*>(HEAP_Get(tableHeap, partCount_));
  if (bytes_ == nullptr || states_ == nullptr) {
    return;
  }
  std::memset(states_, MISSING, partCount_);
  Failure none;
  FindEnd(file, &none);
}

uint32_t StringSection::PartSize(uint32_t part) const {
  return std::min(PART, size_ - part * PART);
}

// What the file has lost since it was opened reads as zeros.
void StringSection::Load(uint32_t part, const ByteSource* file, Failure* failure) {
  if (states_[part] != MISSING) {
    return;
  }
  char* bytes = bytes_ + size_t{part} * PART;
  const uint32_t size = PartSize(part);
  const uint32_t got = file->ReadAt(uint64_t{fileOffset_} + uint64_t{part} * PART, bytes, size);
  if (got < size) {
    std::memset(bytes + got, 0, size - got);
    failure->Note(".debug_str", part * PART + got, "the file has shrunk since it was opened");
  }
  states_[part] = LOADED;
}

// The last text of a part may go on in parts after it.
void StringSection::MakeReady(uint32_t part, const ByteSource* file, Failure* failure) {
  Load(part, file, failure);
  states_[part] = READY;
  if (bytes_[part * PART + PartSize(part) - 1] == 0) {
    return;
  }
  for (uint32_t next = part + 1; next < partCount_; ++next) {
    Load(next, file, failure);
    if (std::memchr(bytes_ + size_t{next} * PART, 0, PartSize(next)) != nullptr) {
      return;
    }
  }
}

void StringSection::FindEnd(const ByteSource* file, Failure* failure) {
  for (uint32_t part = partCount_; part-- > 0 && end_ == 0;) {
    Load(part, file, failure);
    const char* bytes = bytes_ + size_t{part} * PART;
    for (uint32_t i = PartSize(part); i > 0 && end_ == 0; --i) {
      end_ = bytes[i - 1] == 0 ? part * PART + i : 0;
    }
  }
}
