// Fills units on several threads. Each thread has a loader of its own, since the operations of one must not overlap,
// and a table of its own of the same file; the first is the session's.
//
//   FillTeam team(session, options, 2);
//   const bool allFilled = team.Run(units, &out, [&](size_t worker, const FilledUnit& unit, UnitOrder& order) { ... });
//
// What the loaders say, and the reasons of fills that failed, come out in the order of the units.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "session/session.h"
#include "session/unit_order.h"

namespace elfload {

struct FilledUnit {
  size_t position;     // in the units of Run
  size_t index;        // in the session's list
  DescModule* module;  // in the table of the worker
  int extended;
  std::optional<FailureReason> failure;
};

class FillTeam {
 public:
  using Work = std::function<void(size_t worker, const FilledUnit& unit, UnitOrder& order)>;

  // The session's list must be built. `size` is the number of threads, the caller's included.
  FillTeam(Session& session, const Options& options, size_t size);
  FillTeam(const FillTeam&) = delete;
  FillTeam& operator=(const FillTeam&) = delete;
  ~FillTeam();

  size_t Size() const { return members_.size(); }

  // Fills the units with these indexes and calls `work` with each, on the thread of the worker that filled it. False
  // when a fill failed. Throws what a worker threw. The records stay until the team goes, unless `work` releases them.
  bool Run(const std::vector<size_t>& units, Output* out, const Work& work);

 private:
  struct Member;

  bool Join(Member& member);
  void RunMember(size_t worker, const std::vector<size_t>& units, UnitOrder& order, const Work& work);

  Session& session_;
  const Options& options_;
  std::vector<std::unique_ptr<Member>> members_;
};

}  // namespace elfload
