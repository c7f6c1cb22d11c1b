#include "dwarf2/dead_code.h"

#include "elf/sections.h"

namespace {

constexpr uint32_t TOP_32 = 0xFFFFFFFE;
constexpr uint32_t TOP_16 = 0xFFFE;

}  // namespace

void DeadCode::Use(const ElfImage* image) {
  *this = {};
  ElfSegment segment = {};
  for (uint32_t i = 0; i < image->e_phnum; ++i) {
    if (ELF_GetSegment(image, i, &segment) == 0) {
      continue;
    }
    const auto holds = [&segment](uint32_t address) { return address - segment.address < segment.memorySize; };
    hasZero_ = hasZero_ || holds(0);
    hasOne_ = hasOne_ || holds(1);
    for (uint32_t top = 0; top < 2; ++top) {
      hasTop32_[top] = hasTop32_[top] || holds(TOP_32 + top);
      hasTop16_[top] = hasTop16_[top] || holds(TOP_16 + top);
    }
  }
}

bool DeadCode::HasLast(uint32_t address, uint32_t last) const {
  const uint32_t top = last - address == 0 ? 1 : 0;
  return last == UINT32_MAX ? hasTop32_[top] : hasTop16_[top];
}
