// Which addresses of a file may hold code, by its section headers.
//
//   CodeSections code;
//   if (code.Use(image) && !code.MayHold(address)) ...  // data is there
#pragma once

#include <cstdint>

#include "elf/elf_image.h"
#include "records/growing_array.h"

class CodeSections {
 public:
  // The file that is asked about from now on. False without memory.
  bool Use(const ElfImage* image);

  // Whether an address is in a section with code, which may have constants between the code. All are in a file whose
  // sections do not say.
  bool MayHold(uint32_t address) const;

 private:
  struct Span {
    uint32_t address;
    uint32_t last;
  };

  GrowingArray<Span> spans_;  // ascending, apart from each other
};
