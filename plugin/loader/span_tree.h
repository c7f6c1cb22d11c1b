// Address spans in the order in which they were appended, each with a record.
//
// Answers "which span, from here on, touches this range" without a walk: a binary tree over the spans holds for each
// node the lowest and the highest address of what is below it.
#pragma once

#include <cstdint>

class SpanTree {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  SpanTree() = default;
  SpanTree(const SpanTree&) = delete;
  SpanTree& operator=(const SpanTree&) = delete;
  ~SpanTree();

  // Appends [low, high); a span without addresses is never found. False without memory.
  bool Append(uint32_t low, uint32_t high, void* record);

  // The number of the first span, not below `from`, that has addresses in [low, high); NONE when there is none.
  uint32_t NextTouching(uint32_t from, uint32_t low, uint32_t high) const;

  void* Record(uint32_t number) const { return records_[number]; }

 private:
  struct Span {
    uint32_t low;
    uint32_t high;
  };

  bool Grow();
  void WidenAbove(uint32_t node);

  void** records_ = nullptr;
  Span* tree_ = nullptr;  // node n has the children 2n and 2n + 1; the leaves, which are the spans, begin at capacity_
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;  // a power of two
};
