// A program header in host byte order, and what the download makes of its fields.
#pragma once

#include <cstdint>

namespace elfload {

constexpr uint32_t SEGMENT_LOAD = 1;        // PT_LOAD, of `type`
constexpr uint32_t SEGMENT_EXECUTABLE = 1;  // PF_X, PF_W and PF_R, of `flags`
constexpr uint32_t SEGMENT_WRITABLE = 2;
constexpr uint32_t SEGMENT_READABLE = 4;

struct ElfSegment {
  uint32_t type, offset, vaddr, paddr, filesz, memsz, flags, align;
};

}  // namespace elfload
