#include "target/sparse_memory.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "terminal/platform.h"

namespace elfload {

namespace {

constexpr uint32_t SMALLEST_SLAB = 0x100;  // pages: large enough for the system to map it by itself
constexpr uint32_t LARGEST_SLAB = 0x8000;  // pages: 32 MiB

uint32_t BytesInPage(uint32_t address, uint32_t count) {
  return std::min(count, SparseMemory::PAGE_BYTES - address % SparseMemory::PAGE_BYTES);
}

// The table that `owner` holds, made empty where there is none; null without memory.
template <typename Table>
Table* Provide(std::unique_ptr<Table>& owner) {
  if (owner == nullptr) {
    owner.reset(new (std::nothrow) Table{});
  }
  return owner.get();
}

}  // namespace

const SparseMemory::Page* SparseMemory::FindPage(uint32_t address) const {
  const Tables* tables = tables_[address >> 24].get();
  const Pages* pages = tables != nullptr ? (*tables)[address >> 16 & 0xFF].get() : nullptr;
  return pages != nullptr ? (*pages)[address % PART_BYTES / PAGE_BYTES] : nullptr;
}

SparseMemory::Page* SparseMemory::MakePage(uint32_t address) {
  if (written_ == nullptr || address >> 16 != writtenPart_) {
    Tables* tables = Provide(tables_[address >> 24]);
    written_ = tables != nullptr ? Provide((*tables)[address >> 16 & 0xFF]) : nullptr;
    writtenPart_ = address >> 16;
    if (written_ == nullptr) {
      return nullptr;
    }
  }
  Page*& page = (*written_)[address % PART_BYTES / PAGE_BYTES];
  if (page == nullptr) {
    page = TakePage();
  }
  return page;
}

// A new page is zero. Large slabs come from the system zeroed, so that nothing has to be cleared here.
SparseMemory::Page* SparseMemory::TakePage() {
  if (pagesLeft_ == 0) {
    const uint32_t count = std::min(std::clamp(pages_, SMALLEST_SLAB, LARGEST_SLAB), MAXIMUM_PAGES - pages_);
    std::unique_ptr<Page, Free> slab(count != 0 ? static_cast<Page*>(std::calloc(count, sizeof(Page))) : nullptr);
    if (slab == nullptr) {
      return nullptr;
    }
    PrepareMemory(slab.get(), count * sizeof(Page));
    slabs_.push_back(std::move(slab));
    nextPage_ = slabs_.back().get();
    pagesLeft_ = count;
  }
  pagesLeft_--;
  pages_++;
  return nextPage_++;
}

bool SparseMemory::Write(uint32_t address, const uint8_t* bytes, uint32_t count) {
  while (count != 0) {
    Page* page = MakePage(address);
    if (page == nullptr) {
      return false;
    }
    const uint32_t size = BytesInPage(address, count);
    std::memcpy(page->bytes + address % PAGE_BYTES, bytes, size);
    address += size;
    bytes += size;
    count -= size;
  }
  return true;
}

void SparseMemory::Copy(uint32_t address, uint8_t* buffer, uint32_t count) const {
  while (count != 0) {
    const uint32_t size = BytesInPage(address, count);
    if (const Page* page = FindPage(address); page != nullptr) {
      std::memcpy(buffer, page->bytes + address % PAGE_BYTES, size);
    } else {
      std::memset(buffer, 0, size);
    }
    address += size;
    buffer += size;
    count -= size;
  }
}

}  // namespace elfload
