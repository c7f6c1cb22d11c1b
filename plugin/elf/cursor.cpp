// The windows of a cursor: when they are read, and how much of them is kept.
#include "elf/cursor.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr uint8_t END_OF_FILE_BYTE = 0xFF;
constexpr uint32_t PADDING = 2 * Cursor::SPARE;  // past the bytes of a window that the file ends in

}  // namespace

Cursor::~Cursor() {
  std::free(buffer_);
}

void Cursor::Use(const ByteSource* file, bool littleEndian) {
  file_ = file;
  whole_ = nullptr;
  fileSize_ = file->Size() > 0 ? static_cast<uint64_t>(file->Size()) : 0;
  littleEndian_ = littleEndian;
  section_ = {nullptr, 0, 0, false};
  base_ = 0;
  keptEnd_ = 0;
  ShowNothing(0);
}

// Moves without a window. The first read asks for one.
void Cursor::ShowNothing(uint64_t position) {
  window_ = next_ = end_ = noBytes_ + 1;
  limit_ = noBytes_;
  windowOffset_ = position;
}

void Cursor::Seek(const SectionPlace& section, uint32_t offset, uint32_t expected) {
  section_ = section;
  base_ = section.offset;
  if (!section.exists) {
    failure_->Note(section.name, offset, "the section is missing");
  }
  nextSize_ = std::min(expected, LARGEST_WINDOW);
  keptEnd_ = 0;
  SeekFile(base_ + offset);
}

void Cursor::SeekKept(const SectionPlace& section, uint32_t offset, uint32_t length, uint32_t expected) {
  Seek(section, offset, std::min(std::min(length, expected), LARGEST_WINDOW - SPARE) + SPARE);
  keptEnd_ = base_ + offset + length;
  if (window_ != buffer_ || next_ > limit_) {
    ShowNothing(base_ + offset);
    return;
  }
  // What the window has already moves to its front, so that what is kept begins here.
  const auto held = static_cast<size_t>(end_ - next_);
  windowOffset_ = base_ + offset;
  limit_ = buffer_ + (limit_ - next_);
  std::memmove(buffer_, next_, static_cast<size_t>(limit_ - buffer_) + SPARE);
  window_ = next_ = buffer_;
  end_ = buffer_ + held;
}

size_t Cursor::WholeSize(const ByteSource* file, const SectionPlace& section) {
  const auto fileSize = static_cast<uint64_t>(std::max<int64_t>(file->Size(), 0));
  const uint64_t left = section.offset < fileSize ? fileSize - section.offset : 0;
  const uint64_t size = std::min<uint64_t>(section.size, left) + SPARE + PADDING;
  return static_cast<size_t>(std::min<uint64_t>(size, SIZE_MAX));
}

void Cursor::SeekWhole(const SectionPlace& section, uint8_t* memory) {
  Seek(section, 0);
  const auto size = static_cast<uint32_t>(WholeSize(file_, section) - PADDING);
  FillWindow(memory, base_, 0, size);
  next_ = whole_ = memory;
}

void Cursor::LookInto(const Cursor& other, uint32_t offset) {
  section_ = other.section_;
  base_ = other.base_;
  keptEnd_ = 0;
  nextSize_ = DEFAULT_WINDOW / 8;
  const uint64_t position = base_ + offset;
  const auto inWindow = static_cast<uint64_t>(other.limit_ - other.window_);
  if (other.limit_ < other.window_ || position < other.windowOffset_ || position - other.windowOffset_ > inWindow) {
    SeekFile(position);
    return;
  }
  window_ = other.window_;
  limit_ = other.limit_;
  end_ = other.end_;
  windowOffset_ = other.windowOffset_;
  next_ = window_ + (position - windowOffset_);
}

// Stays in the window where it can. Another cursor's window may have changed meanwhile.
void Cursor::SeekFile(uint64_t position) {
  const bool isOwn = window_ == buffer_ || window_ == whole_;
  if (isOwn && position >= windowOffset_ && position - windowOffset_ <= static_cast<uint64_t>(end_ - window_)) {
    next_ = window_ + (position - windowOffset_);
  } else {
    ShowNothing(position);
  }
}

bool Cursor::Reserve(uint32_t size) {
  if (size + PADDING <= capacity_) {
    return true;
  }
  auto* buffer = static_cast<uint8_t*>(std::realloc(buffer_, size_t{size} + PADDING));
  if (buffer == nullptr) {
    failure_->NoteNoMemory(section_.name, Offset(), "no memory to read the file");
    return false;
  }
  buffer_ = buffer;
  capacity_ = size + PADDING;
  return true;
}

// Makes the window `size` bytes of the file from `offset` on, of which the first `kept` are there already. A window
// that the file ends in has bytes 0xFF at its end.
void Cursor::FillWindow(uint8_t* buffer, uint64_t offset, uint32_t kept, uint32_t size) {
  const uint32_t got = kept + file_->ReadAt(offset + kept, buffer + kept, size - kept);
  window_ = buffer;
  windowOffset_ = offset;
  end_ = buffer + got;
  if (got == size) {
    limit_ = end_ - SPARE;
  } else {
    std::memset(buffer + got, END_OF_FILE_BYTE, PADDING);
    limit_ = end_ + SPARE;
  }
}

// Reads on where a kept window ends. False when the position is not in what is kept.
bool Cursor::GrowWindow(uint64_t position) {
  const auto held = static_cast<uint64_t>(end_ - window_);
  if (window_ != buffer_ || position >= keptEnd_ || windowOffset_ + held >= keptEnd_ ||
      position > windowOffset_ + held || held > UINT32_MAX / 4) {
    return false;
  }
  const uint64_t wanted = std::min(keptEnd_ - windowOffset_ + SPARE, 2 * held + LARGEST_WINDOW);
  const uint64_t inFile = fileSize_ > windowOffset_ ? fileSize_ - windowOffset_ : 0;
  const auto size = static_cast<uint32_t>(std::min(wanted, inFile + PADDING));
  if (size <= held || !Reserve(size)) {
    return false;
  }
  FillWindow(buffer_, windowOffset_, static_cast<uint32_t>(held), size);
  next_ = window_ + (position - windowOffset_);
  return next_ <= limit_;
}

void Cursor::ReadWindow() {
  const uint64_t position = FilePosition();
  if (GrowWindow(position)) {
    return;
  }
  const bool goesOn = window_ == buffer_ && position >= windowOffset_ && end_ - window_ > 0;
  nextSize_ = std::clamp(goesOn ? 2 * nextSize_ : nextSize_, 2 * PADDING, LARGEST_WINDOW);
  if (!Reserve(nextSize_)) {
    static constexpr uint8_t ended[PADDING] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                               0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                               0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    window_ = next_ = end_ = ended;
    limit_ = ended + SPARE;
    windowOffset_ = position;
    return;
  }
  FillWindow(buffer_, position, 0, nextSize_);
  next_ = window_;
}

uint32_t Cursor::Read(void* buffer, uint32_t count) {
  const auto inWindow = static_cast<uint32_t>(std::min<uint64_t>(count, BytesInWindow()));
  std::memcpy(buffer, next_, inWindow);
  uint32_t got = inWindow;
  if (inWindow < count) {
    got += file_->ReadAt(FilePosition() + inWindow, static_cast<uint8_t*>(buffer) + inWindow, count - inWindow);
  }
  Skip(count);
  return got;
}

uint32_t Cursor::TextLength(bool* ended) {
  uint32_t length = 0;
  if (TextInWindow(&length) != nullptr) {
    *ended = true;
    return length;
  }
  uint8_t part[0x1000];
  uint64_t position = FilePosition();
  const uint64_t start = position;
  for (;;) {
    const uint32_t got = file_->ReadAt(position, part, sizeof(part));
    const void* nul = std::memchr(part, 0, got);
    position += nul != nullptr ? static_cast<uint64_t>(static_cast<const uint8_t*>(nul) - part) : got;
    if (nul != nullptr || got < sizeof(part)) {
      *ended = nul != nullptr;
      return static_cast<uint32_t>(position - start);
    }
  }
}

void Cursor::Fail(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  failure_->NoteList(section_.name, Offset(), format, arguments);
  va_end(arguments);
}

bool Cursor::Charge(uint64_t bytes) {
  if (!allowance_->Consume(std::min(bytes, fileSize_))) {
    failure_->Note(section_.name, Offset(), "parts of the file are read over and over");
    return false;
  }
  return true;
}
