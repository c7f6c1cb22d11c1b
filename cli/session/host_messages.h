// What the loader says to its user: every line and every message box, in order.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tarnixcore/host_program.h"

namespace elfload {

class Output;

// What a loader said on a thread of its own, in order; its user hears it when it is that unit's turn.
struct HeldMessages {
  struct Text {
    std::string text;
    bool isBox;
    bool hasCancel;
  };
  std::vector<Text> texts;
  bool isLost = false;
};

// It is the host library's handler for as long as it lives. Lines go to standard error as they come. A box is asked
// on a terminal; elsewhere it is written to standard error and answered as set. Lines of an operation that has a better
// reason are not written, unless all are asked for.
class HostMessages {
 public:
  // `out` is flushed before a box is asked; `answerCancel` answers boxes that have a cancel button. `writesAll`: lines
  // are written as they come, whatever else is known.
  HostMessages(Output& out, bool answerCancel, bool writesAll);
  HostMessages(const HostMessages&) = delete;
  HostMessages& operator=(const HostMessages&) = delete;
  ~HostMessages();

  // The texts, a box as "CAPTION: TEXT".
  const std::vector<std::string>& Texts() const { return texts_; }

  // Name, version and text that the loader gave on the command VER, as one line; empty before that.
  const std::string& VersionLine() const { return versionLine_; }

  // Collects in `held` what is said on the calling thread from now on, and answers boxes with OK; null ends that.
  void HoldThread(HeldMessages* held);

  // Passes on what was held, as one loader would have said it all: a line once, boxes until one is cancelled.
  // `isExplained`: the user learns the reason in other words.
  void Release(const HeldMessages& held, bool isExplained);

  // Keeps lines back from now on.
  void KeepBack() { keepsBack_ = !writesAll_; }

  // Whether lines are kept back.
  bool HasKeptBack() const { return !keptBack_.empty(); }

  // Ends that, and writes the lines unless they are explained.
  void Settle(bool isExplained);

  // Whether there was no memory to keep a text.
  bool IsLost() const { return isLost_; }

 private:
  template <typename Operation>
  void Keep(Operation operation);
  HeldMessages* HeldByThread();
  static void OnMessage(void* context, const char* text);
  static int OnBox(void* context, const char* text, const char* caption, unsigned style);
  static void OnVersion(void* context, const char* name, unsigned long version, const char* text);
  int Answer(const std::string& text, bool hasCancel);

  Output& out_;
  bool answerCancel_;
  bool writesAll_;
  bool keepsBack_ = false;
  std::vector<std::string> keptBack_;
  std::vector<std::string> texts_;
  std::string versionLine_;
  bool isLost_ = false;
  bool boxesAreCancelled_ = false;  // of what was held
  HostHandlers former_;
  std::mutex heldMutex_;
  std::map<std::thread::id, HeldMessages*> heldByThread_;
};

}  // namespace elfload
