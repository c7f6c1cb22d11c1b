// What LoadCode takes and how it cuts a segment: shared with the host programs and tests that call it.
//
//   loader->LoadCode(target, 0, LOAD_VERIFY_ALL | LOAD_NO_PROGRESS);
#pragma once

#include <cstdint>

// Third argument of LoadCode, a bit set. Other bits have no effect.
enum LoadCodeFlag : unsigned long {
  LOAD_NO_PROGRESS = 0x004,   // no progress dialog, and so no way to cancel
  LOAD_VERIFY_QUICK = 0x100,  // compare the first LOAD_QUICK_VERIFY_SIZE bytes of each block, whatever else is set
  LOAD_VERIFY_ALL = 0x200,    // compare every byte
  LOAD_VERIFY_ONLY = 0x400,   // write nothing: compare with what the target holds
};

constexpr uint32_t LOAD_BLOCK_SIZE = 512;       // bytes; the last block of a segment has the rest
constexpr uint32_t LOAD_QUICK_VERIFY_SIZE = 4;  // bytes
constexpr int LOAD_ACCESS_MODE = 2;             // last argument of WriteBlock and ReadBlock
