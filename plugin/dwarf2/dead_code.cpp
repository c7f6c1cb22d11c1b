#include "dwarf2/dead_code.h"

#include <algorithm>

#include "elf/sections.h"

namespace {

constexpr uint32_t TOP_32 = 0xFFFFFFFE;
constexpr uint32_t TOP_16 = 0xFFFE;

}  // namespace

bool DeadCode::Use(const ElfImage* image) {
  segments_.Empty();
  ElfSegment segment = {};
  for (uint32_t i = 0; i < image->e_phnum; ++i) {
    if (ELF_GetSegment(image, i, &segment) == 0 || segment.memorySize == 0) {
      continue;
    }
    const uint32_t last = segment.address + std::min(segment.memorySize - 1, UINT32_MAX - segment.address);
    if (!segments_.Push({segment.address, last})) {
      return false;
    }
  }
  std::sort(segments_.begin(), segments_.end(), [](const Span& a, const Span& b) { return a.first < b.first; });
  uint32_t kept = 0;
  for (const Span& span : segments_) {
    if (kept != 0 && span.first <= segments_[kept - 1].last) {
      segments_[kept - 1].last = std::max(segments_[kept - 1].last, span.last);
    } else {
      segments_[kept++] = span;
    }
  }
  segments_.Resize(kept);
  const auto holds = [this](uint32_t address) { return segments_.Count() != 0 && IsInSegment(address); };
  hasZero_ = holds(0);
  hasOne_ = holds(1);
  for (uint32_t top = 0; top < 2; ++top) {
    hasTop32_[top] = holds(TOP_32 + top);
    hasTop16_[top] = holds(TOP_16 + top);
  }
  return true;
}

bool DeadCode::HasLast(uint32_t address, uint32_t last) const {
  const uint32_t top = last - address == 0 ? 1 : 0;
  return last == UINT32_MAX ? hasTop32_[top] : hasTop16_[top];
}

// A file without segments does not say where its code is: it may be anywhere.
bool DeadCode::IsInSegment(uint32_t address) const {
  uint32_t low = 0;
  uint32_t high = segments_.Count();
  if (high == 0) {
    return true;
  }
  while (low < high) {  // the first segment after the address
    const uint32_t middle = low + (high - low) / 2;
    if (segments_[middle].first <= address) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low != 0 && address <= segments_[low - 1].last;
}
