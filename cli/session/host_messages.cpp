#include "session/host_messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <new>

#include "tarnixcore/messages.h"
#include "terminal/output.h"
#include "terminal/platform.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

// Texts of boxes have several lines.
void PrintLines(std::string_view text) {
  for (size_t end = 0; end != std::string_view::npos;) {
    end = text.find('\n');
    PrintError("{}", Printable(text.substr(0, end)));
    text.remove_prefix(end != std::string_view::npos ? end + 1 : text.size());
  }
}

// The loader is not made for exceptions.
template <typename Make>
void Hold(HeldMessages& held, Make make) {
  try {
    held.texts.push_back(make());
  } catch (const std::bad_alloc&) {
    held.isLost = true;
  }
}

}  // namespace

HostMessages::HostMessages(Output& out, bool answerCancel, bool writesAll)
    : out_(out), answerCancel_(answerCancel), writesAll_(writesAll) {
  HostHandlers handlers;
  handlers.context = this;
  handlers.message = OnMessage;
  handlers.messageBox = OnBox;
  handlers.versionInfo = OnVersion;
  former_ = HOST_SetHandlers(handlers);
}

HostMessages::~HostMessages() {
  HOST_SetHandlers(former_);
}

// Called out of the loader, which is not made for exceptions.
template <typename Operation>
void HostMessages::Keep(Operation operation) {
  try {
    operation();
  } catch (const std::bad_alloc&) {
    isLost_ = true;
  }
}

void HostMessages::HoldThread(HeldMessages* held) {
  const std::lock_guard lock(heldMutex_);
  if (held != nullptr) {
    heldByThread_[std::this_thread::get_id()] = held;
  } else {
    heldByThread_.erase(std::this_thread::get_id());
  }
}

HeldMessages* HostMessages::HeldByThread() {
  const std::lock_guard lock(heldMutex_);
  const auto found = heldByThread_.find(std::this_thread::get_id());
  return found != heldByThread_.end() ? found->second : nullptr;
}

void HostMessages::Settle(bool isExplained) {
  keepsBack_ = false;
  if (!isExplained) {
    for (const std::string& text : keptBack_) PrintLines(text);
  }
  keptBack_.clear();
}

void HostMessages::Release(const HeldMessages& held, bool isExplained) {
  isLost_ = isLost_ || held.isLost;
  for (const HeldMessages::Text& said : held.texts) {
    const bool isKnown = std::find(texts_.begin(), texts_.end(), said.text) != texts_.end();
    if (said.isBox ? boxesAreCancelled_ : isKnown) continue;
    texts_.push_back(said.text);
    if (said.isBox) {
      boxesAreCancelled_ = Answer(said.text, said.hasCancel) == IDCANCEL;
    } else if (writesAll_ || !isExplained) {
      PrintLines(said.text);
    }
  }
}

void HostMessages::OnMessage(void* context, const char* text) {
  auto* messages = static_cast<HostMessages*>(context);
  if (HeldMessages* held = messages->HeldByThread()) {
    Hold(*held, [&] { return HeldMessages::Text{text, false, false}; });
    return;
  }
  messages->Keep([&] {
    messages->texts_.emplace_back(text);
    if (messages->keepsBack_) {
      messages->keptBack_.emplace_back(text);
    } else {
      PrintLines(text);
    }
  });
}

int HostMessages::OnBox(void* context, const char* text, const char* caption, unsigned style) {
  constexpr unsigned buttons = 0xF;
  auto* messages = static_cast<HostMessages*>(context);
  const bool hasCancel = (style & buttons) == MB_OKCANCEL;
  if (HeldMessages* held = messages->HeldByThread()) {
    Hold(*held, [&] { return HeldMessages::Text{fmt::format("{}: {}", caption, text), true, hasCancel}; });
    return IDOK;
  }
  int answer = IDOK;
  messages->Keep([&] {
    messages->texts_.push_back(fmt::format("{}: {}", caption, text));
    answer = messages->Answer(messages->texts_.back(), hasCancel);
  });
  return answer;
}

void HostMessages::OnVersion(void* context, const char* name, unsigned long version, const char* text) {
  auto* messages = static_cast<HostMessages*>(context);
  messages->Keep([&] {
    messages->versionLine_ =
        fmt::format("{} {}.{}.{}{}", name, (version >> 24) & 0xFF, (version >> 16) & 0xFF, version & 0xFFFF, text);
  });
}

int HostMessages::Answer(const std::string& text, bool hasCancel) {
  PrintLines(text);
  if (!IsTerminal(stdin) || !IsTerminal(stderr)) return hasCancel && answerCancel_ ? IDCANCEL : IDOK;
  out_.Flush();
  std::fputs(hasCancel ? "[O]K or [c]ancel? " : "Press Enter. ", stderr);
  const int first = std::getchar();
  for (int c = first; c != '\n' && c != EOF;) c = std::getchar();
  if (!hasCancel) return IDOK;
  if (first == EOF) return answerCancel_ ? IDCANCEL : IDOK;
  return std::tolower(first) == 'c' ? IDCANCEL : IDOK;
}

}  // namespace elfload
