#include "terminal/output.h"

#include "terminal/platform.h"

namespace elfload {

Output::Output(std::FILE* file)
    : file_(file),
      buffer_(new char[bufferSize]),
      next_(buffer_.get()),
      end_(next_ + bufferSize),
      failed_(file == nullptr) {
  if (file_ != nullptr) std::setvbuf(file_, nullptr, _IONBF, 0);  // this class is the buffer
}

Output::Output(Sink sink)
    : file_(nullptr),
      sink_(std::move(sink)),
      buffer_(new char[bufferSize]),
      next_(buffer_.get()),
      end_(next_ + bufferSize),
      failed_(false) {}

Output::Output(std::string& text)
    : Output([&text](const char* bytes, size_t size) {
        text.append(bytes, size);
        return true;
      }) {}

void Output::Flush() {
  const size_t size = static_cast<size_t>(next_ - buffer_.get());
  next_ = buffer_.get();
  if (size == 0 || failed_) return;
  failed_ = sink_ ? !sink_(buffer_.get(), size) : std::fwrite(buffer_.get(), 1, size, file_) != size;
}

bool Output::IsTerminal() const {
  return file_ != nullptr && elfload::IsTerminal(file_);
}

void Output::WriteLong(const char* text, size_t size) {
  while (size > 0) {
    if (next_ == end_) Flush();
    const size_t room = static_cast<size_t>(end_ - next_);
    const size_t part = size < room ? size : room;
    std::memcpy(next_, text, part);
    next_ += part;
    text += part;
    size -= part;
  }
}

}  // namespace elfload
