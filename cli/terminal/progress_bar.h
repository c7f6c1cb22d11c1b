// The progress of a download on a terminal, or as JSON lines.
//
//   ProgressBar bar(stderr, ProgressBar::Style::bar, total);
//   bar.Set(done);    // draws a few times a second
//   bar.Close();
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace elfload {

struct ProgressState {
  uint64_t done = 0;   // bytes
  uint64_t total = 0;  // bytes
  double seconds = 0;  // since the start
};

// "[#######             ]  37%  384.0 KiB of 1.0 MiB  1.2 MiB/s  0:01 left"
std::string DrawProgressBar(const ProgressState& state);

// {"done":393216,"total":1048576,"seconds":0.312,"bytesPerSecond":1260307}
std::string ProgressJson(const ProgressState& state);

class ProgressBar {
 public:
  enum class Style : uint8_t { none, bar, json };

  ProgressBar(std::FILE* file, Style style, uint64_t total);
  void Set(uint64_t done);

  // Shows the last state, once.
  void Close();

 private:
  using Clock = std::chrono::steady_clock;
  void Show();
  void Write(std::string_view text);

  std::FILE* file_;
  Style style_;
  uint64_t total_;
  uint64_t done_ = 0;
  Clock::time_point start_ = Clock::now();
  std::optional<Clock::time_point> shown_;
  bool open_ = true;
};

}  // namespace elfload
