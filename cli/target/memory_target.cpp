// A sparse memory of the whole 32-bit space, in pages that exist once they are written to.
#include "target/memory_target.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "terminal/platform.h"

namespace elfload {

namespace {

constexpr uint32_t TABLE_SHIFT = 22;
constexpr uint32_t PAGE_SHIFT = 12;
constexpr uint32_t TABLE_MASK = 0x3FF;
constexpr uint32_t SMALLEST_SLAB = 64;  // pages: large enough for the system to map it by itself
constexpr uint32_t LARGEST_SLAB = 0x2000;

uint32_t BytesInPage(uint32_t address, uint32_t count) {
  return std::min(count, MemoryTarget::PAGE_BYTES - address % MemoryTarget::PAGE_BYTES);
}

}  // namespace

MemoryTarget::MemoryTarget(RegionMap regions) : regions_(std::move(regions)) {}

MemoryTarget::~MemoryTarget() = default;

const MemoryTarget::Page* MemoryTarget::FindPage(uint32_t address) const {
  const Table* table = tables_[address >> TABLE_SHIFT].get();
  return table != nullptr ? (*table)[address >> PAGE_SHIFT & TABLE_MASK] : nullptr;
}

// Null when no more pages may be made. A new page is zero.
MemoryTarget::Page* MemoryTarget::MakePage(uint32_t address) {
  std::unique_ptr<Table>& table = tables_[address >> TABLE_SHIFT];
  if (table == nullptr) {
    table.reset(new (std::nothrow) Table{});
    if (table == nullptr) {
      return nullptr;
    }
  }
  Page*& page = (*table)[address >> PAGE_SHIFT & TABLE_MASK];
  if (page == nullptr) {
    page = TakePage();
  }
  return page;
}

// Large slabs come from the system zeroed, so that nothing has to be cleared here.
MemoryTarget::Page* MemoryTarget::TakePage() {
  if (pagesLeft_ == 0) {
    const uint32_t count = std::min(std::clamp(pages_, SMALLEST_SLAB, LARGEST_SLAB), MAXIMUM_PAGES - pages_);
    auto* slab = count != 0 ? static_cast<Page*>(std::calloc(count, sizeof(Page))) : nullptr;
    if (slab == nullptr) {
      return nullptr;
    }
    PrepareMemory(slab, count * sizeof(Page));
    slabs_.emplace_back(slab);
    nextPage_ = slab;
    pagesLeft_ = count;
  }
  pagesLeft_--;
  pages_++;
  return nextPage_++;
}

int MemoryTarget::WriteBlock(Address address, const void* buffer, uint32_t count, int /*access*/) {
  if (count == 0) {
    return 1;
  }
  const uint32_t last = address.offset + count - 1;
  if (!regions_.Check(address.offset, last, false, reason_)) {
    return 0;
  }
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  for (uint32_t done = 0; done < count;) {
    const uint32_t at = address.offset + done;
    Page* page = MakePage(at);
    if (page == nullptr) {
      reason_ = fmt::format("the memory is full at 0x{:08X}: it holds {} MiB", at, pages_ / (0x100000 / PAGE_BYTES));
      return 0;
    }
    const uint32_t size = BytesInPage(at, count - done);
    memcpy(page->bytes + at % PAGE_BYTES, bytes + done, size);
    done += size;
  }
  AddWritten(address.offset, last);
  return 1;
}

// Blocks follow each other, so nearly every one continues the last range.
void MemoryTarget::AddWritten(uint32_t first, uint32_t last) {
  if (!written_.empty() && uint64_t{written_.back().last} + 1 == first) {
    written_.back().last = last;
  } else {
    sorted_ = sorted_ && (written_.empty() || written_.back().last < first);
    written_.push_back({first, last});
  }
}

const std::vector<AddressRange>& MemoryTarget::Written() {
  if (!sorted_) {
    std::sort(written_.begin(), written_.end(),
              [](const AddressRange& a, const AddressRange& b) { return a.first < b.first; });
    std::vector<AddressRange> joined;
    for (const AddressRange& range : written_) {
      if (!joined.empty() && range.first <= uint64_t{joined.back().last} + 1) {
        joined.back().last = std::max(joined.back().last, range.last);
      } else {
        joined.push_back(range);
      }
    }
    written_ = std::move(joined);
    sorted_ = true;
  }
  return written_;
}

void MemoryTarget::Copy(uint32_t address, uint8_t* buffer, uint32_t count) const {
  for (uint32_t done = 0; done < count;) {
    const uint32_t at = address + done;
    const uint32_t size = BytesInPage(at, count - done);
    const Page* page = FindPage(at);
    if (page != nullptr) {
      memcpy(buffer + done, page->bytes + at % PAGE_BYTES, size);
    } else {
      memset(buffer + done, 0, size);
    }
    done += size;
  }
}

int MemoryTarget::ReadBlock(Address address, void* buffer, uint32_t count, int /*access*/) {
  if (count == 0) {
    return 1;
  }
  const uint32_t last = address.offset + count - 1;
  // The range written last is the one that a verification asks for.
  const bool isLast = !written_.empty() && written_.back().first <= address.offset && last <= written_.back().last;
  if (last < address.offset || (!isLast && !IsWritten(address.offset, last))) {
    reason_ = fmt::format("nothing was written to all of {}", DescribeRange(address.offset, last));
    return 0;
  }
  Copy(address.offset, static_cast<uint8_t*>(buffer), count);
  return 1;
}

bool MemoryTarget::IsWritten(uint32_t first, uint32_t last) {
  const std::vector<AddressRange>& ranges = Written();
  const auto behind =
      std::upper_bound(ranges.begin(), ranges.end(), first,
                       [](uint32_t address, const AddressRange& range) { return address < range.first; });
  return behind != ranges.begin() && std::prev(behind)->last >= last;
}

int MemoryTarget::SetStartAddress(uint32_t address) {
  startAddress_ = address;
  return 1;
}

int MemoryTarget::CheckMemory(uint32_t first, uint32_t last, const char* /*name*/, int memoryType) {
  return regions_.Check(first, last, memoryType == TARGET_WRITABLE, reason_) ? 1 : 0;
}

}  // namespace elfload
