// The procedures of a module by the addresses that they take, in the order of their list.
//
// Answers "which procedure, from here on in the list, touches this range" without a walk of the list: a binary tree
// over the list holds for each node the lowest and the highest address of what is below it.
#pragma once

#include <cstdint>

struct DescProc;

class ProcRanges {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  ProcRanges() = default;
  ProcRanges(const ProcRanges&) = delete;
  ProcRanges& operator=(const ProcRanges&) = delete;
  ~ProcRanges();

  // Appends a procedure; one without addresses (`lowPc` not below `highPc`) is never found. False without memory.
  bool Append(DescProc* proc);

  // The number of the first procedure, not below `from`, that has addresses in [low, high); NONE when there is none.
  uint32_t NextTouching(uint32_t from, uint32_t low, uint32_t high) const;

  const DescProc* At(uint32_t number) const { return procs_[number]; }

 private:
  struct Span {
    uint32_t low;
    uint32_t high;
  };

  bool Grow();
  void Widen(uint32_t leaf);

  DescProc** procs_ = nullptr;
  Span* tree_ = nullptr;  // node n has the children 2n and 2n + 1; the leaves begin at capacity_
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;  // a power of two
};
