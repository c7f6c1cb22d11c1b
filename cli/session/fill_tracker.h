// Which units a look-up filled. The finders fill units themselves and only return the unit that they found.
#pragma once

#include <cstddef>
#include <vector>

#include "records/debug_records.h"

namespace elfload {

class FillTracker {
 public:
  explicit FillTracker(const std::vector<DescModule*>& modules) : modules_(modules) { Reset(); }

  // Indexes of the units filled since the last call, in order. A look-up goes along the list and ends at what it finds:
  // only the units up to index `last` are looked at.
  std::vector<size_t> Take(size_t last) {
    std::vector<size_t> filled;
    size_t kept = 0;
    size_t at = 0;
    for (; at < unfilled_.size() && unfilled_[at] <= last; at++) {
      if (modules_[unfilled_[at]]->loadedKinds != 0) {
        filled.push_back(unfilled_[at]);
      } else if (kept++ != at) {
        unfilled_[kept - 1] = unfilled_[at];
      }
    }
    if (!filled.empty()) {
      unfilled_.erase(unfilled_.begin() + static_cast<std::ptrdiff_t>(kept),
                      unfilled_.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return filled;
  }

 private:
  void Reset() {
    for (size_t i = 0; i < modules_.size(); i++) unfilled_.push_back(i);
  }

  const std::vector<DescModule*>& modules_;
  std::vector<size_t> unfilled_;  // ascending
};

}  // namespace elfload
