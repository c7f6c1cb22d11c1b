// The files of a unit's line program, by the numbers that its entries use.
#pragma once

#include <cstdint>

class SourceFiles {
 public:
  // The name of a file as the line program has it; the shared empty string for an unknown number.
  virtual char* FileOf(uint32_t number) = 0;

 protected:
  ~SourceFiles() = default;
};
