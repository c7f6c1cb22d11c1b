#include "terminal/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>

namespace elfload {

namespace {

constexpr auto REDRAW_INTERVAL = std::chrono::milliseconds(100);
constexpr size_t BAR_WIDTH = 30;

double Rate(const ProgressState& state) {
  return state.seconds > 0 ? static_cast<double>(state.done) / state.seconds : 0;
}

std::string Size(double bytes) {
  constexpr const char* units[] = {"KiB", "MiB", "GiB"};
  if (bytes < 1024) {
    return fmt::format("{:.0f} B", bytes);
  }
  size_t unit = 0;
  for (bytes /= 1024; bytes >= 1024 && unit + 1 < std::size(units); unit++) {
    bytes /= 1024;
  }
  return fmt::format("{:.1f} {}", bytes, units[unit]);
}

}  // namespace

std::string DrawProgressBar(const ProgressState& state) {
  const double part =
      state.total == 0 ? 1 : std::min(1.0, static_cast<double>(state.done) / static_cast<double>(state.total));
  const auto filled = static_cast<size_t>(part * BAR_WIDTH);
  const double rate = Rate(state);
  std::string left;
  if (rate > 0 && state.done < state.total) {
    const auto seconds = std::llround(static_cast<double>(state.total - state.done) / rate);
    left = fmt::format("  {}:{:02} left", seconds / 60, seconds % 60);
  }
  return fmt::format("[{:<{}}] {:3.0f}%  {} of {}  {}/s{}", std::string(filled, '#'), BAR_WIDTH, part * 100,
                     Size(static_cast<double>(state.done)), Size(static_cast<double>(state.total)), Size(rate), left);
}

std::string ProgressJson(const ProgressState& state) {
  return fmt::format(R"({{"done":{},"total":{},"seconds":{:.3f},"bytesPerSecond":{:.0f}}})", state.done, state.total,
                     state.seconds, Rate(state));
}

ProgressBar::ProgressBar(std::FILE* file, Style style, uint64_t total) : file_(file), style_(style), total_(total) {}

void ProgressBar::Set(uint64_t done) {
  done_ = done;
  if (style_ != Style::none && (!shown_ || Clock::now() - *shown_ >= REDRAW_INTERVAL)) {
    Show();
  }
}

void ProgressBar::Close() {
  if (!open_) {
    return;
  }
  open_ = false;
  if (style_ != Style::none) {
    Show();
    Write(style_ == Style::bar ? "\n" : "");
  }
}

// Progress that cannot be shown is nothing to stop for.
void ProgressBar::Show() {
  shown_ = Clock::now();
  const ProgressState state{done_, total_, std::chrono::duration<double>(*shown_ - start_).count()};
  try {
    // A bar is padded, so that a shorter line covers the one before it.
    Write(style_ == Style::json ? ProgressJson(state) + "\n" : fmt::format("\r{:<78}", DrawProgressBar(state)));
  } catch (const std::bad_alloc&) {
    Write("");
  }
}

void ProgressBar::Write(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), file_);
  std::fflush(file_);
}

}  // namespace elfload
