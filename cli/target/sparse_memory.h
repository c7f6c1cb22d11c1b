// Bytes by address over the whole 32-bit space, in small pages that exist once they are written to. A lone byte costs a
// page of 1 KiB and at most two small tables of pointers, so that bytes far apart stay cheap.
//
//   SparseMemory memory;
//   if (!memory.Write(0x8000, bytes, 512)) ...    // full
//   memory.Copy(0x8000, buffer, 512);             // zero where nothing was written
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace elfload {

class SparseMemory {
 public:
  static constexpr uint32_t PAGE_BYTES = 0x400;
  static constexpr uint32_t MAXIMUM_BYTES = 0x40000000;  // what a file of 1 GiB fills

  // False when no more pages can be made: the ceiling is reached, or the process has no memory. The pages before it are
  // written.
  bool Write(uint32_t address, const uint8_t* bytes, uint32_t count);

  // Copies bytes; zero where nothing was written.
  void Copy(uint32_t address, uint8_t* buffer, uint32_t count) const;

  // Whether as many pages exist as may be made.
  bool IsFull() const { return pages_ == MAXIMUM_PAGES; }

 private:
  struct Page {
    uint8_t bytes[PAGE_BYTES];
  };
  static constexpr uint32_t MAXIMUM_PAGES = MAXIMUM_BYTES / PAGE_BYTES;
  static constexpr uint32_t PART_BYTES = 0x10000;
  using Pages = std::array<Page*, PART_BYTES / PAGE_BYTES>;  // of 64 KiB
  using Tables = std::array<std::unique_ptr<Pages>, 0x100>;  // of 16 MiB
  struct Free {
    void operator()(Page* pages) const { std::free(pages); }
  };

  const Page* FindPage(uint32_t address) const;
  Page* MakePage(uint32_t address);
  Page* TakePage();

  std::array<std::unique_ptr<Tables>, 0x100> tables_;
  std::vector<std::unique_ptr<Page, Free>> slabs_;  // of pages, each as large as all before it together
  Pages* written_ = nullptr;                        // the table of the last write, since blocks follow each other
  uint32_t writtenPart_ = 0;                        // its bits of the address
  Page* nextPage_ = nullptr;                        // of the last slab
  uint32_t pagesLeft_ = 0;
  uint32_t pages_ = 0;
};

}  // namespace elfload
