#include "dwarf2/frames.h"

#include <algorithm>
#include <cstdlib>

#include "dwarf2/entries/entries.h"

namespace {

constexpr uint32_t CIE_ID = 0xFFFFFFFF;
constexpr uint32_t ID_SIZE = 4;  // CIE_id or CIE_pointer, which `length` counts

// Collects frame descriptions, and links them in the order that insertion into a sorted list gives: each in front of
// those of an equal low address, but behind the list's head. At n log n for any order of the section.
class SortedFrames {
 public:
  SortedFrames() = default;
  SortedFrames(const SortedFrames&) = delete;
  SortedFrames& operator=(const SortedFrames&) = delete;
  ~SortedFrames() { std::free(items_); }

  void Insert(Dwarf2Fde* fde);
  Dwarf2Fde* Link();

 private:
  // Places among equal low addresses: what came when another address was the list's head stands in front of the one
  // that became the head, and that one in front of what came while it was.
  enum Place : uint8_t { inFront, head, behindHead };

  struct Item {
    Dwarf2Fde* fde;
    uint32_t number;
    Place place;
  };

  static bool Before(const Item& a, const Item& b) {
    if (a.fde->lowPc != b.fde->lowPc) {
      return a.fde->lowPc < b.fde->lowPc;
    }
    return a.place != b.place ? a.place < b.place : a.number > b.number;
  }

  Item* items_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
  uint32_t headLowPc_ = 0;
};

void SortedFrames::Insert(Dwarf2Fde* fde) {
  if (count_ == capacity_) {
    const uint32_t capacity = capacity_ == 0 ? 256 : 2 * capacity_;
    auto* items = static_cast<Item*>(std::realloc(items_, capacity * sizeof(Item)));
    if (items == nullptr) {
      Fail("no memory for frame descriptions");
      return;
    }
    items_ = items;
    capacity_ = capacity;
  }
  Place place = inFront;
  if (count_ == 0 || fde->lowPc < headLowPc_) {
    place = head;
    headLowPc_ = fde->lowPc;
  } else if (fde->lowPc == headLowPc_) {
    place = behindHead;
  }
  items_[count_] = {fde, count_, place};
  ++count_;
}

Dwarf2Fde* SortedFrames::Link() {
  if (count_ == 0) {
    return nullptr;
  }
  std::sort(items_, items_ + count_, Before);
  for (uint32_t i = 0; i + 1 < count_; ++i) {
    items_[i].fde->next = items_[i + 1].fde;
  }
  return items_[0].fde;
}

// Common information entries by their offset. One that a frame description names before it is read is made then.
class CieTable {
 public:
  explicit CieTable(mem_desc* heap) : heap_(heap) {}

  Dwarf2Cie* FindOrAdd(uint32_t offset) {
    auto* cie = index_.Find<Dwarf2Cie>(offset, [](const Dwarf2Cie*) { return true; });
    if (cie != nullptr) {
      return cie;
    }
    cie = NewEntryRecord<Dwarf2Cie>(heap_);
    if (cie == nullptr || !index_.Insert(offset, cie)) {
      Fail("no memory for a common information entry");
      return nullptr;
    }
    cie->offset = offset;
    return cie;
  }

 private:
  mem_desc* heap_;
  HashIndex index_;
};

// `count` raw bytes. Null, with the latch set, for a count that is negative or that the file cannot back.
uint8_t* ReadFrameBytes(ElfImage* image, mem_desc* heap, int64_t count) {
  if (count < 0 || static_cast<uint64_t>(count) > ELF_BytesLeft(image)) {
    Fail("frame record of %ld instruction bytes", static_cast<long>(count));
    return nullptr;
  }
  auto* bytes = static_cast<uint8_t*>(HEAP_Get(heap, static_cast<size_t>(count)));
  if (bytes == nullptr) {
    Fail("no memory for frame instructions");
    return nullptr;
  }
  const uint32_t got = image->file->Read(bytes, static_cast<uint32_t>(count));
  std::memset(bytes + got, 0, static_cast<size_t>(count) - got);
  dwarf2State.position += static_cast<uint32_t>(count);
  return bytes;
}

// Common information entry, behind CIE_id: version 1, augmentation (string), code_alignment_factor (ULEB128),
// data_alignment_factor (SLEB128), return_address_register 1, instructions.
void ReadCie(ElfImage* image, mem_desc* heap, Dwarf2Cie* cie, uint32_t length) {
  const uint32_t start = dwarf2State.position;
  ReadU8(image);
  ReadStringForm(image, DW_FORM_string, heap, 0);
  cie->codeAlignment = ReadUleb(image);
  cie->dataAlignment = ReadSleb(image);
  cie->returnRegister = ReadU8(image);
  const int64_t count = static_cast<int64_t>(length) - ID_SIZE - (dwarf2State.position - start);
  cie->instructions = ReadFrameBytes(image, heap, count);
  cie->instructionLength = cie->instructions != nullptr ? static_cast<uint32_t>(count) : 0;
}

// Frame description entry, behind CIE_pointer: initial_location, address_range (addressSize each), instructions.
Dwarf2Fde* ReadFde(ElfImage* image, mem_desc* heap, Dwarf2Cie* cie, uint32_t length) {
  auto* fde = NewEntryRecord<Dwarf2Fde>(heap);
  if (fde == nullptr) {
    return nullptr;
  }
  fde->cie = cie;
  fde->lowPc = ReadAddress(image, dwarf2State.addressSize);
  fde->highPc = fde->lowPc + ReadAddress(image, dwarf2State.addressSize);
  const int64_t count = static_cast<int64_t>(length) - ID_SIZE - int64_t{2} * dwarf2State.addressSize;
  fde->instructions = ReadFrameBytes(image, heap, count);
  fde->instructionLength = fde->instructions != nullptr ? static_cast<uint32_t>(count) : 0;
  return fde;
}

}  // namespace

Dwarf2Fde* ReadDwarf2Frames(ElfImage* image, mem_desc* tableHeap, uint8_t addressSize) {
  const ElfSectionHeader* section = dwarf2State.sections.frame;
  if (section == nullptr) {
    return nullptr;
  }
  dwarf2State.addressSize = addressSize;
  SeekTo(image, section, 0);
  CieTable cies(tableHeap);
  SortedFrames frames;
  while (dwarf2State.position < section->sh_size && dwarf2State.failed == 0) {
    const uint32_t offset = dwarf2State.position;
    const uint32_t length = ReadU32(image);
    const uint32_t id = ReadU32(image);
    Dwarf2Cie* cie = cies.FindOrAdd(id == CIE_ID ? offset : id);
    if (cie == nullptr) {
      break;
    }
    if (id == CIE_ID) {
      ReadCie(image, tableHeap, cie, length);
      continue;
    }
    Dwarf2Fde* fde = ReadFde(image, tableHeap, cie, length);
    if (fde != nullptr) {
      frames.Insert(fde);
    }
  }
  return frames.Link();
}
