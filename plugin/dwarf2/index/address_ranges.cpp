#include "dwarf2/index/address_ranges.h"

#include "dwarf2/index/index_set.h"
#include "elf/code_sections.h"

namespace {

constexpr uint32_t INDEX_VERSION = 2;

// Bytes from a set's start to the first multiple of a tuple's size.
uint32_t PaddingOf(uint32_t headerSize, uint32_t tupleSize) {
  const uint32_t ragged = headerSize % tupleSize;
  return ragged != 0 ? tupleSize - ragged : 0;
}

// A set of ranges: unit_length 4 (not used: the tuple 0, 0 ends the set), version 2, debug_info_offset 4, address_size
// 1, segment_size 1, padding to a multiple of a tuple's size, then tuples of an address and a length. False when the
// reading ends here.
bool ReadSetInOrder(Cursor* cursor, uint32_t sectionSize, const IndexedModules& units) {
  constexpr uint32_t HEADER_SIZE = 12;
  cursor->Skip(4);
  const uint32_t version = cursor->U16();
  const uint32_t unitOffset = cursor->U32();
  const uint32_t addressSize = cursor->U8();
  cursor->Skip(1);
  if (version != INDEX_VERSION || addressSize == 0) {
    return false;
  }
  const uint32_t tupleSize = 2 * addressSize;
  cursor->Skip(PaddingOf(HEADER_SIZE, tupleSize));
  DescModule* module = units.byUnit.Find(unitOffset);
  if (module == nullptr) {
    return false;
  }
  // A set without its closing tuple ends with the section, or with the file.
  while (uint64_t{cursor->Offset()} + tupleSize <= sectionSize && !cursor->failure() && !cursor->AtEnd()) {
    const uint32_t address = ReadIndexNumber(cursor, addressSize);
    const uint32_t length = ReadIndexNumber(cursor, addressSize);
    if (address == 0 && length == 0) {
      break;
    }
    AddAddrRange(units.heap, module, address, length);
  }
  return true;
}

class PublishedRanges {
 public:
  PublishedRanges(Cursor* cursor, const IndexSource& source, const IndexedModules& units)
      : cursor_(cursor), source_(source), units_(units) {}

  void Read();

 private:
  void ReadSet(const IndexSet& set);
  void Add(DescModule* module, uint32_t address, uint32_t length, uint8_t addressSize);

  Cursor* cursor_;
  const IndexSource& source_;
  const IndexedModules& units_;
  CodeSections code_;
};

void PublishedRanges::Read() {
  if (!code_.Use(source_.image)) {
    source_.failure->NoteNoMemory();
    return;
  }
  cursor_->Seek(source_.sections->aranges, 0, source_.sections->aranges.size);
  IndexSets sets(cursor_);
  for (IndexSet set = {}; !cursor_->failure() && sets.Next(&set);) {
    if (set.version == INDEX_VERSION) {
      ReadSet(set);
    }
  }
  sets.Finish();
}

// The set after its version: debug_info_offset of the set's offset size, address_size 1, segment_size 1, padding, then
// tuples of a segment, an address and a length, up to the tuple of zeros.
void PublishedRanges::ReadSet(const IndexSet& set) {
  DescModule* module = units_.byUnit.Find(ReadIndexOffset(cursor_, set));
  const auto addressSize = static_cast<uint8_t>(cursor_->U8());
  const uint32_t segmentSize = cursor_->U8();
  if (module == nullptr || addressSize == 0) {
    return;
  }
  const uint32_t tupleSize = segmentSize + 2 * uint32_t{addressSize};
  cursor_->Skip(PaddingOf(cursor_->Offset() - set.start, tupleSize));
  while (uint64_t{cursor_->Offset()} + tupleSize <= set.end && !cursor_->failure()) {
    const uint32_t segment = ReadIndexNumber(cursor_, segmentSize);
    const uint32_t address = ReadIndexNumber(cursor_, addressSize);
    const uint32_t length = ReadIndexNumber(cursor_, addressSize);
    if (segment == 0 && address == 0 && length == 0) {
      return;
    }
    Add(module, address, length, addressSize);
  }
}

// An empty range holds no address, and code that the linker threw away has none.
void PublishedRanges::Add(DescModule* module, uint32_t address, uint32_t length, uint8_t addressSize) {
  const bool isDead = units_.build->rules->dropsDeadCode && source_.deadCode->IsMark(address, addressSize);
  if (length == 0 || isDead) {
    return;
  }
  AddAddrRange(units_.heap, module, address, length);
  if (!code_.MayHold(address)) {
    Dwarf2ExtOf(module)->isDataIndexed = true;
  }
}

}  // namespace

void ReadRangesInOrder(Cursor* cursor, const SectionPlace& section, const IndexedModules& units) {
  if (!section.exists) {
    return;
  }
  cursor->Seek(section, 0, section.size);
  while (!cursor->failure() && cursor->Offset() < section.size && ReadSetInOrder(cursor, section.size, units)) {
  }
}

void ReadPublishedRanges(Cursor* cursor, const IndexSource& source, const IndexedModules& units) {
  if (source.sections->aranges.exists && !cursor->failure()) {
    PublishedRanges(cursor, source, units).Read();
  }
}
