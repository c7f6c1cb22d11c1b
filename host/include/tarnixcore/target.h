// The target that a download goes to. The host program derives from it and plugs its own in.
#pragma once

#include <cstdint>

#include "tarnixcore/export.h"

// A target address, passed by value. The first word is the 32-bit address; the target decides what the second means.
struct Address {
  uint32_t offset = 0;
  uint32_t space = 0;
};

enum TargetMemoryType { TARGET_WRITABLE = 0, TARGET_READ_ONLY = 1 };

// Operations stand in slot order.
class TARNIX_API Target {
 public:
  Target();
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  // Writes `count` bytes; 1 when written. `access` is 2.
  virtual int WriteBlock(Address address, const void* buffer, uint32_t count, int access) = 0;
  // Reads `count` bytes into `buffer`; 1 when read. `access` is 2.
  virtual int ReadBlock(Address address, void* buffer, uint32_t count, int access) = 0;
  // Not 0 when the start address was set.
  virtual int SetStartAddress(uint32_t address) = 0;
  // Code 29 hands over the note text of the absolute file, possibly null. The result is not looked at.
  virtual int TargetCapabilities(int code, const char* text);
  // 1 before the memory checks of a download, 0 behind them. The result is not looked at.
  virtual int Control(int request);
  // 0 refuses the range from `first` to `last`, both included. `memoryType` is a TargetMemoryType.
  virtual int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType);
  virtual ~Target();
};

// The target of the host program, or null.
TARNIX_API Target* GetTheTarget();
