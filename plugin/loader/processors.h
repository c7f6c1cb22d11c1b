// The processors that the loader knows, by e_machine.
#pragma once

#include <cstdint>

struct Processor {
  const char* name;  // "" for a processor outside the table
  int32_t intSize;   // size of the type int in bytes
};

// `noteValue` decides between variants of one processor.
Processor FindProcessor(uint32_t machine, uint32_t noteValue);
