// The target of a download. The host program derives its own from it and plugs that in (tarnixcore/host_program.h).
#pragma once

#include <cstdint>

#include "tarnixcore/export.h"

// A target address, passed by value.
struct Address {
  uint32_t offset = 0;
  uint32_t space = 0;  // its meaning is the target's own; 0 is the only value that loaders pass
};

enum TargetMemoryType { TARGET_WRITABLE = 0, TARGET_READ_ONLY = 1 };

// The order of the virtual operations is the order of their slots.
class TARNIX_API Target {
 public:
  Target();
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  // Writes `count` bytes at `address`. 1 when written, else 0. `access` is 2.
  virtual int WriteBlock(Address address, const void* buffer, uint32_t count, int access) = 0;
  // Reads `count` bytes at `address` into `buffer`. 1 when read, else 0. `access` is 2.
  virtual int ReadBlock(Address address, void* buffer, uint32_t count, int access) = 0;
  // Sets where the program starts. Not 0 when set.
  virtual int SetStartAddress(uint32_t address) = 0;
  // Code 29 passes the note text of the absolute file, which may be null. Nothing depends on the result, which is 0
  // here.
  virtual int TargetCapabilities(int code, const char* text);
  // Request 1 comes before the memory checks of a download, request 0 after them. Nothing depends on the result, which
  // is 0 here.
  virtual int Control(int request);
  // Whether the range from `first` to `last`, both included, may be written: 0 refuses it, and so the download. `name`
  // is
  // "", `memoryType` a TargetMemoryType. This one returns 1.
  virtual int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType);
  virtual ~Target();
};

// The target that the host program has set, or null.
TARNIX_API Target* GetTheTarget();
