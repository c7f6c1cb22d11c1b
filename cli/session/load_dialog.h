// The host's side of a download while it runs: the progress dialog, its cancel button (Ctrl-C), and the boxes.
//
//   LoadDialog dialog(ProgressBar::Style::bar, monitor.TotalBytes());
//   const int result = loader->LoadCode(...);
//   if (dialog.Cancelled()) ...
#pragma once

#include <cstdint>
#include <optional>

#include "tarnixcore/host_program.h"
#include "terminal/progress_bar.h"

namespace elfload {

// It handles these for the host library as long as it lives, and passes on the rest to the handlers set before.
class LoadDialog {
 public:
  LoadDialog(ProgressBar::Style style, uint64_t total);
  LoadDialog(const LoadDialog&) = delete;
  LoadDialog& operator=(const LoadDialog&) = delete;
  ~LoadDialog();

  // Whether a Ctrl-C was passed on to the loader.
  bool Cancelled() const { return cancelled_; }

  // The address that the loader named as different, from its box.
  std::optional<uint32_t> DifferenceAddress() const { return difference_; }

 private:
  using Handler = void (*)(int);
  static void OnMessage(void* context, const char* text);
  static int OnBox(void* context, const char* text, const char* caption, unsigned style);
  static void OnCreate(void* context, const char* title, unsigned long total);
  static int OnSet(void* context, unsigned long count);
  static void OnClose(void* context);
  void RestoreInterrupt();

  ProgressBar::Style style_;
  uint64_t total_;
  std::optional<ProgressBar> bar_;
  bool cancelled_ = false;
  std::optional<uint32_t> difference_;
  Handler formerInterrupt_ = nullptr;
  bool listens_ = false;
  HostHandlers former_;
};

}  // namespace elfload
