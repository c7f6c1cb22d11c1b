#include "elf/code_sections.h"

#include <algorithm>

bool CodeSections::Use(const ElfImage* image) {
  constexpr uint32_t CODE = SHF_ALLOC | SHF_EXECINSTR;
  GrowingArray<Span> all;
  spans_.Empty();
  for (uint32_t i = 0; i < image->e_shnum; ++i) {
    const ElfSectionHeader& header = image->sectionHeaders[i];
    if ((header.sh_flags & CODE) != CODE || header.sh_size == 0) {
      continue;
    }
    const uint32_t size = std::min(header.sh_size - 1, UINT32_MAX - header.sh_addr);
    if (!all.Push({header.sh_addr, header.sh_addr + size})) {
      return false;
    }
  }
  std::sort(all.begin(), all.end(), [](const Span& a, const Span& b) { return a.address < b.address; });
  for (const Span& span : all) {
    if (spans_.Count() != 0 && span.address <= spans_[spans_.Count() - 1].last) {
      Span& before = spans_[spans_.Count() - 1];
      before.last = std::max(before.last, span.last);
    } else if (!spans_.Push(span)) {
      return false;
    }
  }
  return true;
}

bool CodeSections::MayHold(uint32_t address) const {
  uint32_t begin = 0;  // all spans before it begin at `address` or lower
  for (uint32_t end = spans_.Count(); begin < end;) {
    const uint32_t middle = begin + (end - begin) / 2;
    if (spans_[middle].address <= address) {
      begin = middle + 1;
    } else {
      end = middle;
    }
  }
  return spans_.Count() == 0 || (begin != 0 && address <= spans_[begin - 1].last);
}
