// The order of units that are worked on by several threads: each takes the next unit that nobody has, and what it says
// and writes goes out in the order of the units. Text of units whose turn has not come is held, up to a bound.
//
//   UnitOrder order(count, &out, tell);     // on each thread:
//   while (order.Take(unit)) {
//     order.Begin(unit, news);              // goes to `tell` when the unit's turn has come
//     order.Write(unit, text, size);        // goes to `out` then; waits while too much is held
//     order.End(unit);
//   }
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "session/host_messages.h"
#include "session/loader_module.h"
#include "terminal/output.h"

namespace elfload {

// What is to be said of a unit before its text.
struct UnitNews {
  HeldMessages messages;
  std::optional<FailureReason> failure;
};

class UnitOrder {
 public:
  static constexpr size_t usualHold = size_t{32} * 1024 * 1024;
  static constexpr size_t mostAhead = 64;  // units that are begun after the one whose turn it is

  using Tell = std::function<void(const UnitNews&)>;

  // Of `count` units, numbered from 0. `out` may be null when nothing is written. `tell` is called on any of the
  // threads, never twice at the same time. `mostHeld` bytes of text wait for their turn at most.
  UnitOrder(size_t count, Output* out, Tell tell, size_t mostHeld = usualHold)
      : count_(count), mostHeld_(mostHeld), out_(out), tell_(std::move(tell)) {}

  // The next unit. Waits until it may be begun; false when there is none left, or when the work has stopped.
  bool Take(size_t& unit);
  void Begin(size_t unit, UnitNews news);
  // False when the work has stopped: nobody reads the text any more.
  bool Write(size_t unit, const char* text, size_t size);
  void End(size_t unit);

  // Ends the work of all threads.
  void Stop(std::exception_ptr reason);
  // Throws what stopped the work.
  void Check() const;

 private:
  struct Held {
    UnitNews news;
    std::vector<std::string> texts;
    bool isBegun = false;
    bool isEnded = false;
  };

  Held& At(size_t unit) { return held_[unit - turn_]; }
  void GiveOut(Held& held);
  bool IsStopped() const { return isStopped_ || (out_ != nullptr && out_->failed()); }

  const size_t count_;
  const size_t mostHeld_;
  Output* const out_;
  const Tell tell_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  size_t next_ = 0;        // to be taken
  size_t turn_ = 0;        // whose text goes out
  std::deque<Held> held_;  // of the units from turn_ up to next_
  size_t heldBytes_ = 0;
  bool isStopped_ = false;
  std::exception_ptr reason_;
};

}  // namespace elfload
