// The program's output: one large buffer before the file, written when it is full.
//
//   Output out(file);
//   out.Print("{:<8}{}\n", name, value);
//   char* room = out.Reserve(10);             // contiguous room for 10 characters
//   out.Advance(FormatNumber(value, room));   // as many of them as were used
//   out.Flush();                              // out.failed() says whether something could not be written
//
// It also is the stream that RapidJSON writes to. Instead of a file it can write to a function.
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace elfload {

class Output {
 public:
  using Ch = char;
  static constexpr size_t bufferSize = size_t{256} * 1024;
  static constexpr size_t reserveLimit = size_t{64} * 1024;

  // Takes what the buffer held; false when it could not be written.
  using Sink = std::function<bool(const char* text, size_t size)>;

  // Writes to `file`, which stays the caller's; null drops everything and counts as failed.
  explicit Output(std::FILE* file);
  explicit Output(Sink sink);
  // Appends to `text`.
  explicit Output(std::string& text);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() { Flush(); }

  void Put(char c) {
    if (next_ == end_) Flush();
    *next_++ = c;
  }

  void Write(const char* text, size_t size) {
    if (size > static_cast<size_t>(end_ - next_)) {
      WriteLong(text, size);
      return;
    }
    std::memcpy(next_, text, size);
    next_ += size;
  }
  void Write(std::string_view text) { Write(text.data(), text.size()); }

  // Contiguous room for `size` characters, at most reserveLimit.
  char* Reserve(size_t size) {
    if (size > static_cast<size_t>(end_ - next_)) Flush();
    return next_;
  }
  // Says where the text written into reserved room ends.
  void Advance(char* end) { next_ = end; }

  template <typename... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::memory_buffer text;
    fmt::format_to(fmt::appender(text), format, std::forward<Arguments>(arguments)...);
    Write(text.data(), text.size());
  }

  void Flush();

  bool IsTerminal() const;

  // Whether something could not be written; what comes after that is dropped.
  bool failed() const { return failed_; }

 private:
  void WriteLong(const char* text, size_t size);

  std::FILE* file_;  // null with a sink
  Sink sink_;
  std::unique_ptr<char[]> buffer_;
  char* next_;
  char* end_;
  bool failed_;
};

}  // namespace elfload
