#include "dwarf2/index/sorted_frames.h"

#include <algorithm>

bool SortedFrames::Sort(Failure* failure) {
  GrowingArray<Item> items;
  uint32_t headLowPc = 0;
  for (Dwarf2Fde* fde = first_; fde != nullptr; fde = fde->next) {
    Place place = inFront;
    if (items.Count() == 0 || fde->lowPc < headLowPc) {
      place = head;
      headLowPc = fde->lowPc;
    } else if (fde->lowPc == headLowPc) {
      place = afterHead;
    }
    if (!items.Push({fde, items.Count(), place})) {
      failure->NoteNoMemory();
      return false;
    }
  }
  std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return Before(a, b); });
  first_ = items[0].fde;
  for (uint32_t i = 0; i < items.Count(); ++i) {
    items[i].fde->next = i + 1 < items.Count() ? items[i + 1].fde : nullptr;
  }
  last_ = items[items.Count() - 1].fde;
  isSorted_ = true;
  return true;
}

bool FrameCover::Make(const Dwarf2Fde* first) {
  spans_.Empty();
  for (const Dwarf2Fde* fde = first; fde != nullptr; fde = fde->next) {
    if (fde->highPc <= fde->lowPc) {
      continue;
    }
    if (spans_.Count() != 0 && fde->lowPc <= spans_[spans_.Count() - 1].high) {
      Span& last = spans_[spans_.Count() - 1];
      last.high = std::max(last.high, fde->highPc);
    } else if (!spans_.Push({fde->lowPc, fde->highPc})) {
      return false;
    }
  }
  return true;
}

bool FrameCover::Holds(uint32_t low, uint32_t high) const {
  uint32_t begin = 0;  // all spans before it begin at `low` or lower
  for (uint32_t end = spans_.Count(); begin < end;) {
    const uint32_t middle = begin + (end - begin) / 2;
    if (spans_[middle].low <= low) {
      begin = middle + 1;
    } else {
      end = middle;
    }
  }
  return begin != 0 && low < spans_[begin - 1].high && high <= spans_[begin - 1].high;
}
