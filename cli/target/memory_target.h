// A sparse memory of the whole 32-bit space: the target that needs no hardware.
//
//   MemoryTarget target(regions);
//   loader->LoadCode(&target, 0, flags);
//   for (const AddressRange& range : target.Written()) Use(range, target);
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "target/load_target.h"
#include "target/region_map.h"

namespace elfload {

class MemoryTarget : public LoadTarget {
 public:
  static constexpr uint32_t PAGE_BYTES = 0x1000;
  static constexpr uint32_t MAXIMUM_PAGES = 0x40000;  // 1 GiB: what a file of that size fills

  // Without regions there is memory everywhere.
  explicit MemoryTarget(RegionMap regions = {});
  ~MemoryTarget() override;

  // Refused outside the regions, past the end of the address space, and when the pages are used up.
  int WriteBlock(Address address, const void* buffer, uint32_t count, int access) override;

  // Refused where nothing was written.
  int ReadBlock(Address address, void* buffer, uint32_t count, int access) override;
  int SetStartAddress(uint32_t address) override;
  int CheckMemory(uint32_t first, uint32_t last, const char* name, int memoryType) override;

  // What was written, sorted, neighbours joined.
  const std::vector<AddressRange>& Written();
  std::optional<uint32_t> StartAddress() const { return startAddress_; }

  // Copies bytes that were written; zero where nothing was.
  void Copy(uint32_t address, uint8_t* buffer, uint32_t count) const;

 private:
  struct Page {
    uint8_t bytes[PAGE_BYTES];
  };
  static constexpr uint32_t TABLE_SIZE = 1024;
  using Table = std::array<Page*, TABLE_SIZE>;
  struct Free {
    void operator()(Page* pages) const { std::free(pages); }
  };

  const Page* FindPage(uint32_t address) const;
  Page* MakePage(uint32_t address);
  Page* TakePage();
  void AddWritten(uint32_t first, uint32_t last);
  bool IsWritten(uint32_t first, uint32_t last);

  RegionMap regions_;
  std::array<std::unique_ptr<Table>, TABLE_SIZE> tables_;
  std::vector<std::unique_ptr<Page, Free>> slabs_;  // of pages, each larger than the one before
  Page* nextPage_ = nullptr;                        // of the last slab
  uint32_t pagesLeft_ = 0;
  uint32_t pages_ = 0;
  std::vector<AddressRange> written_;
  bool sorted_ = true;
  std::optional<uint32_t> startAddress_;
};

}  // namespace elfload
