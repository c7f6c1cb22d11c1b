// Address spans in the order in which they were appended.
//
// Answers "which span, from here on, touches this range" with a binary search and a few steps, whatever the spans are.
// Runs of 16, 32, 64 and so on spans are kept sorted by their low addresses, each entry with the highest address of the
// run so far: of the spans that begin before the range ends, the last shows whether any goes past its start. Each entry
// also counts how many so far are of the run's first half, so that only the first run of a question is searched.
#pragma once

#include <cstdint>
#include <vector>

class SpanIndex {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  struct Span {
    uint32_t low;
    uint32_t high;  // the first address after it
  };

  // Appends [low, high). Throws std::bad_alloc.
  void Append(uint32_t low, uint32_t high);

  // The number of the first span, not below `from`, that has addresses in [low, high); NONE when there is none.
  uint32_t FirstTouching(uint32_t from, uint32_t low, uint32_t high) const;

  Span At(uint32_t number) const { return spans_[number]; }

 private:
  static constexpr uint32_t LEAF = 16;  // spans of a run of level 0; a run of each further level has two of the last

  struct Entry {
    uint32_t low;
    uint32_t highest;      // of the run's entries up to this one
    uint32_t ofFirstHalf;  // how many of them are
  };

  void AddRun(uint32_t level);
  uint32_t LargestRunAt(uint32_t number) const;

  std::vector<Span> spans_;
  std::vector<std::vector<Entry>> runs_;  // by level, those that are complete
};
