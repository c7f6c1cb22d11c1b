#include "loader/span_tree.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr uint32_t FIRST_CAPACITY = 64;

}  // namespace

SpanTree::~SpanTree() {
  std::free(records_);
  std::free(tree_);
}

bool SpanTree::Grow() {
  const uint32_t capacity = capacity_ == 0 ? FIRST_CAPACITY : 2 * capacity_;
  auto** records = static_cast<void**>(std::realloc(records_, capacity * sizeof(void*)));
  if (records == nullptr) {
    return false;
  }
  records_ = records;
  auto* tree = static_cast<Span*>(std::malloc(2 * static_cast<size_t>(capacity) * sizeof(Span)));
  if (tree == nullptr) {
    return false;
  }
  std::fill_n(tree, 2 * static_cast<size_t>(capacity), Span{0xFFFFFFFF, 0});
  std::copy_n(tree_ + capacity_, count_, tree + capacity);
  std::free(tree_);
  tree_ = tree;
  capacity_ = capacity;
  for (uint32_t node = capacity_ - 1; node != 0; --node) {
    const Span* children = tree_ + size_t{2} * node;
    tree_[node].low = std::min(children[0].low, children[1].low);
    tree_[node].high = std::max(children[0].high, children[1].high);
  }
  return true;
}

void SpanTree::WidenAbove(uint32_t node) {
  const Span span = tree_[node];
  for (node /= 2; node != 0; node /= 2) {
    tree_[node].low = std::min(tree_[node].low, span.low);
    tree_[node].high = std::max(tree_[node].high, span.high);
  }
}

bool SpanTree::Append(uint32_t low, uint32_t high, void* record) {
  if (count_ == capacity_ && !Grow()) {
    return false;
  }
  records_[count_] = record;
  if (low < high) {
    tree_[capacity_ + count_] = {low, high};
    WidenAbove(capacity_ + count_);
  }
  ++count_;
  return true;
}

uint32_t SpanTree::NextTouching(uint32_t from, uint32_t low, uint32_t high) const {
  if (from >= count_) {
    return NONE;
  }
  uint32_t node = from == 0 ? 1 : capacity_ + from;
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
