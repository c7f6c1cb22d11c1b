#include "dwarf2/index/frames.h"

#include <algorithm>

#include "dwarf/leb128.h"
#include "dwarf2/forms.h"
#include "records/growing_array.h"
#include "records/hash_index.h"

namespace {

constexpr uint32_t CIE_ID = 0xFFFFFFFF;
constexpr uint32_t ID_SIZE = 4;  // CIE_id or CIE_pointer, which `length` counts

// Frame descriptions in the order that insertion into a sorted list gives: each in front of those of an equal low
// address, but after the list's head. Linkers write them in rising order, which is noticed; any other order is sorted.
class SortedFrames {
 public:
  void Append(Dwarf2Fde* fde) {
    isSorted_ = isSorted_ && (last_ == nullptr || last_->lowPc < fde->lowPc);
    (last_ == nullptr ? first_ : last_->next) = fde;
    last_ = fde;
  }
  Dwarf2Fde* First(Failure* failure) { return isSorted_ || Sort(failure) ? first_ : nullptr; }

 private:
  // Places among equal low addresses: what came when another address was the list's head is in front of the one that
  // became the head, and that one in front of what came while it was.
  enum Place : uint8_t { inFront, head, afterHead };

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

  bool Sort(Failure* failure);

  Dwarf2Fde* first_ = nullptr;
  Dwarf2Fde* last_ = nullptr;
  bool isSorted_ = true;
};

bool SortedFrames::Sort(Failure* failure) {
  GrowingArray<Item> items;
  uint32_t headLowPc = 0;
  for (Dwarf2Fde* fde = first_; fde != nullptr; fde = fde->next) {
    Place place = inFront;
    if (items.Count() == 0 || fde->lowPc < headLowPc) {
      place = head;
      headLowPc = fde->lowPc;
    } else if (fde->lowPc == headLowPc) {
      place = afterHead;
    }
    if (!items.Push({fde, items.Count(), place})) {
      failure->NoteNoMemory();
      return false;
    }
  }
  std::sort(items.begin(), items.end(), Before);
  first_ = items[0].fde;
  for (uint32_t i = 0; i < items.Count(); ++i) {
    items[i].fde->next = i + 1 < items.Count() ? items[i + 1].fde : nullptr;
  }
  return true;
}

class FrameReader {
 public:
  FrameReader(Cursor* cursor, RecordHeap* heap, uint8_t addressSize)
      : cursor_(cursor), heap_(heap), addressSize_(addressSize) {}

  void ReadRecord();
  Dwarf2Fde* Frames() { return frames_.First(&cursor_->failure()); }

 private:
  Dwarf2Cie* FindOrAddCie(uint32_t offset);
  void ReadCie(Dwarf2Cie* cie, uint32_t length);
  void ReadFde(Dwarf2Cie* cie, uint32_t length);
  uint8_t* ReadBytes(int64_t count);

  Cursor* cursor_;
  RecordHeap* heap_;
  uint8_t addressSize_;
  HashIndex cies_;  // by offset; one that a frame description names before it is read is made then
  SortedFrames frames_;
};

Dwarf2Cie* FrameReader::FindOrAddCie(uint32_t offset) {
  auto* cie = cies_.Find<Dwarf2Cie>(offset, [](const Dwarf2Cie*) { return true; });
  if (cie != nullptr) {
    return cie;
  }
  cie = heap_->New<Dwarf2Cie>();
  if (cie == nullptr || !cies_.Insert(offset, cie)) {
    cursor_->failure().NoteNoMemory();
    return nullptr;
  }
  cie->offset = offset;
  return cie;
}

// `count` raw bytes, in the block of the section where they are, else copied. Null, with the failure noted, for a count
// that is negative or that the file does not have.
uint8_t* FrameReader::ReadBytes(int64_t count) {
  if (count < 0 || static_cast<uint64_t>(count) > cursor_->BytesLeft()) {
    cursor_->Fail("a frame record of %lld instruction bytes", static_cast<long long>(count));
    return nullptr;
  }
  const uint8_t* bytes = cursor_->Next();
  if (cursor_->IsInWhole(bytes) && count <= cursor_->End() - bytes) {
    cursor_->SetNext(bytes + count);
    return const_cast<uint8_t*>(bytes);  // the block is the table heap's
  }
  auto* copy = heap_->NewArray<uint8_t>(static_cast<size_t>(count));
  if (copy != nullptr) {
    const uint32_t got = cursor_->Read(copy, static_cast<uint32_t>(count));
    std::memset(copy + got, 0, static_cast<size_t>(count) - got);
  }
  return copy;
}

// Common information entry, after CIE_id: version 1, augmentation (text), code_alignment_factor (ULEB128),
// data_alignment_factor (SLEB128), return_address_register 1, instructions.
void FrameReader::ReadCie(Dwarf2Cie* cie, uint32_t length) {
  const uint32_t start = cursor_->Offset();
  cursor_->Skip(1);
  SkipText(cursor_);
  cie->codeAlignment = ReadUleb(cursor_);
  cie->dataAlignment = ReadSleb(cursor_);
  cie->returnRegister = cursor_->U8();
  const int64_t count = static_cast<int64_t>(length) - ID_SIZE - (cursor_->Offset() - start);
  cie->instructions = ReadBytes(count);
  cie->instructionLength = cie->instructions != nullptr ? static_cast<uint32_t>(count) : 0;
}

// Frame description entry, after CIE_pointer: initial_location, address_range (addressSize each), instructions.
void FrameReader::ReadFde(Dwarf2Cie* cie, uint32_t length) {
  auto* fde = heap_->New<Dwarf2Fde>();
  if (fde == nullptr) {
    return;
  }
  fde->cie = cie;
  fde->lowPc = ReadAddress(cursor_, addressSize_);
  fde->highPc = fde->lowPc + ReadAddress(cursor_, addressSize_);
  const int64_t count = static_cast<int64_t>(length) - ID_SIZE - int64_t{2} * addressSize_;
  fde->instructions = ReadBytes(count);
  fde->instructionLength = fde->instructions != nullptr ? static_cast<uint32_t>(count) : 0;
  frames_.Append(fde);
}

void FrameReader::ReadRecord() {
  const uint32_t offset = cursor_->Offset();
  const uint32_t length = cursor_->U32();
  const uint32_t id = cursor_->U32();
  Dwarf2Cie* cie = FindOrAddCie(id == CIE_ID ? offset : id);
  if (cie == nullptr) {
    return;
  }
  if (id == CIE_ID) {
    ReadCie(cie, length);
  } else {
    ReadFde(cie, length);
  }
}

}  // namespace

Dwarf2Fde* ReadDwarf2Frames(Cursor* cursor, const ByteSource* file, const SectionPlace& section, RecordHeap* tableHeap,
                            uint8_t addressSize) {
  if (!section.exists || section.size == 0 || cursor->failure()) {
    return nullptr;
  }
  auto* whole = static_cast<uint8_t*>(tableHeap->Get(Cursor::WholeSize(file, section)));
  if (whole == nullptr) {
    return nullptr;
  }
  cursor->SeekWhole(section, whole);
  FrameReader reader(cursor, tableHeap, addressSize);
  while (cursor->Offset() < section.size && !cursor->failure()) {
    reader.ReadRecord();
  }
  return reader.Frames();
}
