// What the loader says to its user: every line and every message box, in order.
#pragma once

#include <string>
#include <vector>

#include "tarnixcore/host_program.h"

namespace elfload {

class Output;

// It is the host library's handler for as long as it lives. Lines go to standard error as they come. A box is asked
// on a terminal; elsewhere it is written to standard error and answered as set.
class HostMessages {
 public:
  // `out` is flushed before a box is asked; `answerCancel` answers boxes that have a cancel button.
  HostMessages(Output& out, bool answerCancel);
  HostMessages(const HostMessages&) = delete;
  HostMessages& operator=(const HostMessages&) = delete;
  ~HostMessages();

  // The texts, a box as "CAPTION: TEXT".
  const std::vector<std::string>& Texts() const { return texts_; }

  // Name, version and text that the loader gave on the command VER, as one line; empty before that.
  const std::string& VersionLine() const { return versionLine_; }

  // Whether there was no memory to keep a text.
  bool IsLost() const { return isLost_; }

 private:
  template <typename Operation>
  void Keep(Operation operation);
  static void OnMessage(void* context, const char* text);
  static int OnBox(void* context, const char* text, const char* caption, unsigned style);
  static void OnVersion(void* context, const char* name, unsigned long version, const char* text);
  int Answer(const std::string& text, bool hasCancel);

  Output& out_;
  bool answerCancel_;
  std::vector<std::string> texts_;
  std::string versionLine_;
  bool isLost_ = false;
  HostHandlers former_;
};

}  // namespace elfload
