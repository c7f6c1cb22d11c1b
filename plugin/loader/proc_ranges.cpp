#include "loader/proc_ranges.h"

#include <algorithm>
#include <cstdlib>

#include "loader/debug_records.h"

namespace {

constexpr uint32_t FIRST_CAPACITY = 64;

}  // namespace

ProcRanges::~ProcRanges() {
  std::free(procs_);
  std::free(tree_);
}

bool ProcRanges::Grow() {
  const uint32_t capacity = capacity_ == 0 ? FIRST_CAPACITY : 2 * capacity_;
  auto* procs = static_cast<DescProc**>(std::realloc(procs_, capacity * sizeof(DescProc*)));
  if (procs == nullptr) {
    return false;
  }
  procs_ = procs;
  auto* tree = static_cast<Span*>(std::malloc(2 * static_cast<size_t>(capacity) * sizeof(Span)));
  if (tree == nullptr) {
    return false;
  }
  std::free(tree_);
  tree_ = tree;
  capacity_ = capacity;
  std::fill_n(tree_, 2 * static_cast<size_t>(capacity), Span{0xFFFFFFFF, 0});
  for (uint32_t i = 0; i < count_; ++i) {
    Widen(i);
  }
  return true;
}

// Takes a procedure's addresses into the nodes above it.
void ProcRanges::Widen(uint32_t leaf) {
  const DescProc* proc = procs_[leaf];
  if (proc->lowPc >= proc->highPc) {
    return;
  }
  for (uint32_t node = capacity_ + leaf; node != 0; node /= 2) {
    tree_[node].low = std::min(tree_[node].low, proc->lowPc);
    tree_[node].high = std::max(tree_[node].high, proc->highPc);
  }
}

bool ProcRanges::Append(DescProc* proc) {
  if (count_ == capacity_ && !Grow()) {
    return false;
  }
  procs_[count_] = proc;
  Widen(count_++);
  return true;
}

uint32_t ProcRanges::NextTouching(uint32_t from, uint32_t low, uint32_t high) const {
  if (from >= count_) {
    return NONE;
  }
  uint32_t node = capacity_ + from;
  for (;;) {
    if (tree_[node].low < high && low < tree_[node].high) {
      if (node >= capacity_) {
        return node - capacity_;
      }
      node *= 2;
      continue;
    }
    while ((node & 1) != 0) {
      node /= 2;  // from a right child up, to the next subtree on the right
    }
    if (node == 0) {
      return NONE;
    }
    ++node;
  }
}
