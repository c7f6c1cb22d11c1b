#include "dwarf2/index/index_set.h"

#include <algorithm>

namespace {

constexpr uint32_t LONG_LENGTH = 0xFFFFFFFF;  // the length is in the eight bytes that follow
constexpr uint32_t SMALLEST_SET = 6;          // unit_length and version
constexpr uint32_t NOWHERE = 0xFFFFFFFF;

uint64_t ReadLongNumber(Cursor* cursor) {
  const uint64_t first = cursor->U32();
  const uint64_t second = cursor->U32();
  return cursor->IsLittleEndian() ? second << 32 | first : first << 32 | second;
}

}  // namespace

IndexSets::IndexSets(Cursor* cursor)
    : cursor_(cursor),
      size_(static_cast<uint32_t>(std::min<uint64_t>(cursor->Section().size, cursor->BytesLeft() + cursor->Offset()))) {
}

bool IndexSets::Next(IndexSet* set) {
  if (next_ > size_ || size_ - next_ < SMALLEST_SET) {
    return false;
  }
  cursor_->Seek(next_);
  set->start = next_;
  uint64_t length = cursor_->U32();
  set->offsetSize = length == LONG_LENGTH ? 8 : 4;
  if (length == LONG_LENGTH) {
    length = ReadLongNumber(cursor_);
  }
  const uint32_t first = cursor_->Offset();
  if (first > size_ || length > size_ - first) {
    wrong_ = set->start;
    set->end = size_;
  } else {
    set->end = first + static_cast<uint32_t>(length);
  }
  set->version = length >= 2 ? cursor_->U16() : 0;
  next_ = set->end;
  return true;
}

void IndexSets::Finish() {
  if (wrong_ != NONE) {
    cursor_->failure().Note(cursor_->Section().name, wrong_, "the set leads outside the section");
  }
}

uint32_t ReadIndexNumber(Cursor* cursor, uint32_t size) {
  switch (size) {
    case 1:
      return cursor->U8();
    case 2:
      return cursor->U16();
    case 4:
      return cursor->U32();
    default:
      break;
  }
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t byte = cursor->U8();
    if (!cursor->IsLittleEndian()) {
      value = value << 8 | byte;
    } else if (i < 4) {
      value |= byte << 8 * i;
    }
  }
  return value;
}

uint32_t ReadLongIndexOffset(Cursor* cursor) {
  const uint64_t offset = ReadLongNumber(cursor);
  return offset > UINT32_MAX ? NOWHERE : static_cast<uint32_t>(offset);
}
