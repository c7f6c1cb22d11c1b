#include "session/load_dialog.h"

#include <fmt/format.h>

#include <charconv>
#include <csignal>
#include <string>
#include <string_view>
#include <system_error>

#include "tarnixcore/messages.h"

namespace elfload {

namespace {

volatile std::sig_atomic_t interrupted = 0;

// The first Ctrl-C lets the block under way end; a second one ends the program.
void OnInterrupt(int signal) {
  interrupted = 1;
  std::signal(signal, SIG_DFL);
}

}  // namespace

LoadDialog::LoadDialog(ProgressBar::Style style, uint64_t total) : style_(style), total_(total) {
  HostHandlers handlers;
  handlers.context = this;
  handlers.message = OnMessage;
  handlers.messageBox = OnBox;
  handlers.progressCreate = OnCreate;
  handlers.progressSet = OnSet;
  handlers.progressClose = OnClose;
  former_ = HOST_SetHandlers(handlers);
}

LoadDialog::~LoadDialog() {
  RestoreInterrupt();
  HOST_SetHandlers(former_);
}

void LoadDialog::RestoreInterrupt() {
  if (listens_) {
    listens_ = false;
    std::signal(SIGINT, formerInterrupt_);
  }
}

void LoadDialog::OnMessage(void* context, const char* text) {
  const HostHandlers& former = static_cast<LoadDialog*>(context)->former_;
  if (former.message != nullptr) {
    former.message(former.context, text);
  }
}

// The loader's boxes have an OK button only: they are shown as lines, and nothing waits for the button.
int LoadDialog::OnBox(void* context, const char* text, const char* caption, unsigned /*style*/) {
  auto* dialog = static_cast<LoadDialog*>(context);
  constexpr std::string_view difference = "Loading verification failed at address 0x";
  if (const std::string_view all = text; all.starts_with(difference)) {
    uint32_t address = 0;
    if (std::from_chars(text + difference.size(), text + all.size(), address, 16).ec == std::errc()) {
      dialog->difference_ = address;
    }
  }
  char line[256];  // on the stack: the loader that calls is not made for exceptions
  *fmt::format_to_n(line, sizeof(line) - 1, "{}: {}", caption, text).out = '\0';
  OnMessage(context, line);
  return IDOK;
}

void LoadDialog::OnCreate(void* context, const char* /*title*/, unsigned long /*total*/) {
  auto* dialog = static_cast<LoadDialog*>(context);
  // The loader's total counts memory that it does not write; the bar shows the bytes of the file and ends full.
  dialog->bar_.emplace(stderr, dialog->style_, dialog->total_);
  interrupted = 0;
  dialog->formerInterrupt_ = std::signal(SIGINT, OnInterrupt);
  dialog->listens_ = dialog->formerInterrupt_ != SIG_ERR;
  if (dialog->formerInterrupt_ == SIG_IGN) {  // started in the background: it stays so
    dialog->RestoreInterrupt();
  }
}

int LoadDialog::OnSet(void* context, unsigned long count) {
  auto* dialog = static_cast<LoadDialog*>(context);
  if (dialog->bar_) {
    dialog->bar_->Set(count);
  }
  dialog->cancelled_ = dialog->cancelled_ || interrupted != 0;
  return dialog->cancelled_ ? 0 : 1;
}

void LoadDialog::OnClose(void* context) {
  auto* dialog = static_cast<LoadDialog*>(context);
  dialog->RestoreInterrupt();
  if (dialog->bar_) {
    dialog->bar_->Close();
  }
}

}  // namespace elfload
