#include "loader/span_index.h"

#include <algorithm>

void SpanIndex::Append(uint32_t low, uint32_t high) {
  spans_.push_back({low, high});
  const auto count = static_cast<uint32_t>(spans_.size());
  for (uint32_t level = 0; count % (LEAF << level) == 0; ++level) {
    AddRun(level);
  }
}

// Adds the run that the last span completes.
void SpanIndex::AddRun(uint32_t level) {
  if (level == runs_.size()) {
    runs_.emplace_back();
  }
  std::vector<Entry>& runs = runs_[level];
  const auto isBefore = [](const Entry& a, const Entry& b) { return a.low < b.low; };
  const size_t start = runs.size();
  if (level == 0) {
    for (size_t i = start; i < spans_.size(); ++i) {
      runs.push_back({spans_[i].low, spans_[i].high, 0});
    }
    std::sort(runs.data() + start, runs.data() + runs.size(), isBefore);
  } else {
    const Entry* first = runs_[level - 1].data() + start;
    const Entry* second = first + (LEAF << (level - 1));
    const Entry* const firstEnd = second;
    const Entry* const secondEnd = second + (LEAF << (level - 1));
    for (uint32_t ofFirstHalf = 0; first != firstEnd || second != secondEnd;) {
      const bool isOfFirst = second == secondEnd || (first != firstEnd && first->low <= second->low);
      const Entry* next = isOfFirst ? first++ : second++;
      ofFirstHalf += isOfFirst ? 1 : 0;
      runs.push_back({next->low, next->highest, ofFirstHalf});
    }
  }
  uint32_t highest = 0;
  for (size_t i = start; i < runs.size(); ++i) {
    runs[i].highest = highest = std::max(highest, runs[i].highest);
  }
}

// The level of the largest complete run that begins at `number`, a multiple of LEAF. There is one of level 0.
uint32_t SpanIndex::LargestRunAt(uint32_t number) const {
  uint32_t level = 0;
  while (level + 1 < runs_.size() && number % (LEAF << (level + 1)) == 0 &&
         number + (LEAF << (level + 1)) <= runs_[level + 1].size()) {
    ++level;
  }
  return level;
}

uint32_t SpanIndex::FirstTouching(uint32_t from, uint32_t low, uint32_t high) const {
  const auto count = static_cast<uint32_t>(spans_.size());
  while (from < count) {
    if (from % LEAF == 0 && from + LEAF <= count) {
      uint32_t level = LargestRunAt(from);
      const Entry* run = runs_[level].data() + from;
      const auto begins = [](const Entry& entry, uint32_t end) { return entry.low < end; };
      auto begun = static_cast<uint32_t>(std::lower_bound(run, run + (LEAF << level), high, begins) - run);
      if (begun == 0 || run[begun - 1].highest <= low) {
        from += LEAF << level;
        continue;
      }
      while (level != 0) {  // into the first half if it has one that touches, else into the second, which then has one
        const uint32_t inFirst = runs_[level][from + begun - 1].ofFirstHalf;
        --level;
        if (inFirst != 0 && low < runs_[level][from + inFirst - 1].highest) {
          begun = inFirst;
        } else {
          begun -= inFirst;
          from += LEAF << level;
        }
      }
    }
    if (spans_[from].low < high && low < spans_[from].high) {
      return from;
    }
    ++from;
  }
  return NONE;
}
