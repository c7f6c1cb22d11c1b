// Frame descriptions in the order in which the host gets them, and which code they cover.
//
//   SortedFrames frames;
//   frames.Append(fde);
//   Dwarf2Fde* first = frames.First(&failure);
//   FrameCover cover;
//   if (cover.Make(first) && cover.Holds(low, high)) ...
#pragma once

#include <cstdint>

#include "records/debug_records.h"
#include "records/failure.h"
#include "records/growing_array.h"

// Frame descriptions in the order that insertion into a sorted list gives: each in front of those of an equal low
// address, but after the list's head. Linkers write them in rising order, which is noticed; any other order is sorted.
class SortedFrames {
 public:
  void Append(Dwarf2Fde* fde) {
    isSorted_ = isSorted_ && (last_ == nullptr || last_->lowPc < fde->lowPc);
    (last_ == nullptr ? first_ : last_->next) = fde;
    last_ = fde;
  }
  Dwarf2Fde* First(Failure* failure) { return isSorted_ || Sort(failure) ? first_ : nullptr; }

 private:
  // Places among equal low addresses: what came when another address was the list's head is in front of the one that
  // became the head, and that one in front of what came while it was.
  enum Place : uint8_t { inFront, head, afterHead };

  struct Item {
    Dwarf2Fde* fde;
    uint32_t number;
    Place place;
  };

  static bool Before(const Item& a, const Item& b) {
    if (a.fde->lowPc != b.fde->lowPc) {
      return a.fde->lowPc < b.fde->lowPc;
    }
    return a.place != b.place ? a.place < b.place : a.number > b.number;
  }

  bool Sort(Failure* failure);

  Dwarf2Fde* first_ = nullptr;
  Dwarf2Fde* last_ = nullptr;
  bool isSorted_ = true;
};

// The code of a sorted list of frame descriptions, as ranges that are apart from each other.
class FrameCover {
 public:
  // False without memory.
  bool Make(const Dwarf2Fde* first);

  // Whether descriptions of the list cover all of `low` to `high`, which is not included.
  bool Holds(uint32_t low, uint32_t high) const;

 private:
  struct Span {
    uint32_t low;
    uint32_t high;
  };

  GrowingArray<Span> spans_;
};
