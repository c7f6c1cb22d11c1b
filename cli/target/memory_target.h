// A sparse memory of the whole 32-bit space: the target that needs no hardware.
//
//   MemoryTarget target(regions);
//   loader->LoadCode(&target, 0, flags);
//   for (const AddressRange& range : target.Written()) Use(range, target);
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "target/load_target.h"
#include "target/region_map.h"
#include "target/sparse_memory.h"

namespace elfload {

class MemoryTarget : public LoadTarget {
 public:
  // Without regions there is memory everywhere.
  explicit MemoryTarget(RegionMap regions = {});
  ~MemoryTarget() override;

  // Refused outside the regions, past the end of the address space, and when the memory is full.
  int WriteBlock(Address address, const void* buffer, uint32_t count, int access) override;

  // Refused where nothing was written.
  int ReadBlock(Address address, void* buffer, uint32_t count, int access) override;
  int SetStartAddress(uint32_t address) override;
  int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType) override;

  // What was written, sorted, neighbours joined.
  const std::vector<AddressRange>& Written();
  std::optional<uint32_t> StartAddress() const { return startAddress_; }

  // Copies bytes that were written; zero where nothing was.
  void Copy(uint32_t address, uint8_t* buffer, uint32_t count) const { memory_.Copy(address, buffer, count); }

 private:
  void AddWritten(uint32_t first, uint32_t last);
  bool IsWritten(uint32_t first, uint32_t last);

  RegionMap regions_;
  SparseMemory memory_;
  std::vector<AddressRange> written_;
  bool sorted_ = true;
  std::optional<uint32_t> startAddress_;
};

}  // namespace elfload
