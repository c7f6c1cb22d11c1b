#include "dwarf2/index/name_index.h"

#include "dwarf/index_records.h"
#include "dwarf2/forms.h"

namespace {

constexpr uint32_t INDEX_VERSION = 2;
constexpr uint32_t RANGE_SET_HEADER_SIZE = 12;

class NameIndexReader {
 public:
  NameIndexReader(Cursor* cursor, RecordHeap* tableHeap) : cursor_(cursor), heap_(tableHeap) {}

  bool TakeModules(DescModule* modules);
  bool ReadNames(const ByteSource* file, const SectionPlace& section);
  void ReadRanges(const SectionPlace& section);

 private:
  bool ReadNameSet(uint32_t sectionSize);
  char* ReadName();
  bool ReadRangeSet(uint32_t sectionSize);
  uint32_t ReadAddressValue(uint32_t size);
  bool HasMore(const SectionPlace& section) const { return !cursor_->failure() && cursor_->Offset() < section.size; }

  Cursor* cursor_;
  RecordHeap* heap_;
  ModulesByUnit modules_;
};

bool NameIndexReader::TakeModules(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    if (!modules_.Add(module->ext->unitOffset, module)) {
      cursor_->failure().NoteNoMemory();
      return false;
    }
  }
  return true;
}

// A name in the block of the section where it is, else a copy of it.
char* NameIndexReader::ReadName() {
  cursor_->Ask();
  uint32_t length = 0;
  const uint8_t* bytes = cursor_->TextInWindow(&length);
  bool ended = bytes != nullptr;
  if (ended && cursor_->IsInWhole(bytes)) {
    cursor_->SetNext(bytes + length + 1);
    return reinterpret_cast<char*>(const_cast<uint8_t*>(bytes));  // the block is the table heap's
  }
  length = cursor_->TextLength(&ended);
  char* name = heap_->NewText(length);
  if (name == nullptr) {
    return EmptyString();
  }
  const uint32_t got = cursor_->Read(name, length);
  std::memset(name + got, 0, length - got);
  if (ended) {
    cursor_->Skip(1);
  } else {
    cursor_->Fail("a text without end");
  }
  return name;
}

// A set of names: unit_length 4, version 2, debug_info_offset 4, debug_info_length 4, then pairs of an offset (4) and a
// NUL-terminated name, up to an offset of 0. False when the reading of both sections ends here.
bool NameIndexReader::ReadNameSet(uint32_t sectionSize) {
  const uint32_t length = cursor_->U32();
  const uint32_t last = cursor_->Offset() + length - 1;
  const uint32_t version = cursor_->U16();
  const uint32_t unitOffset = cursor_->U32();
  cursor_->Skip(4);
  DescModule* module = modules_.Find(unitOffset);
  if (version != INDEX_VERSION || module == nullptr) {
    return false;
  }
  uint32_t offset = cursor_->U32();
  while (offset != 0 && cursor_->Offset() < last && !cursor_->failure()) {
    AddGlobalName(heap_, module, ReadName());
    offset = cursor_->U32();
  }
  // A set whose names ended early is left by its own length. One that takes the rest of the address space is the last.
  if (!cursor_->failure() && cursor_->Offset() <= last) {
    cursor_->Seek(last == UINT32_MAX ? sectionSize : last + 1);
  }
  return true;
}

// False when the reading of both sections ends.
bool NameIndexReader::ReadNames(const ByteSource* file, const SectionPlace& section) {
  if (!section.exists || section.size == 0) {
    return true;
  }
  auto* whole = static_cast<uint8_t*>(heap_->Get(Cursor::WholeSize(file, section)));
  if (whole == nullptr) {
    return true;
  }
  cursor_->SeekWhole(section, whole);
  while (HasMore(section)) {
    if (!ReadNameSet(section.size)) {
      return false;
    }
  }
  return true;
}

// A number of `size` bytes; of more than four the low ones.
uint32_t NameIndexReader::ReadAddressValue(uint32_t size) {
  switch (size) {
    case 1:
      return cursor_->U8();
    case 2:
      return cursor_->U16();
    case 4:
      return cursor_->U32();
    default:
      break;
  }
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t byte = cursor_->U8();
    if (!cursor_->IsLittleEndian()) {
      value = value << 8 | byte;
    } else if (i < 4) {
      value |= byte << 8 * i;
    }
  }
  return value;
}

// A set of ranges: unit_length 4 (not used: the tuple 0, 0 ends the set), version 2, debug_info_offset 4, address_size
// 1, segment_size 1, padding to a multiple of a tuple's size, then tuples of an address and a length. False when the
// reading ends here.
bool NameIndexReader::ReadRangeSet(uint32_t sectionSize) {
  cursor_->Skip(4);
  const uint32_t version = cursor_->U16();
  const uint32_t unitOffset = cursor_->U32();
  const uint32_t addressSize = cursor_->U8();
  cursor_->Skip(1);
  if (version != INDEX_VERSION || addressSize == 0) {
    return false;
  }
  const uint32_t tupleSize = 2 * addressSize;
  const uint32_t ragged = RANGE_SET_HEADER_SIZE % tupleSize;
  cursor_->Skip(ragged != 0 ? tupleSize - ragged : 0);
  DescModule* module = modules_.Find(unitOffset);
  if (module == nullptr) {
    return false;
  }
  // A set without its closing tuple ends with the section, or with the file.
  while (uint64_t{cursor_->Offset()} + tupleSize <= sectionSize && !cursor_->failure() && !cursor_->AtEnd()) {
    const uint32_t address = ReadAddressValue(addressSize);
    const uint32_t length = ReadAddressValue(addressSize);
    if (address == 0 && length == 0) {
      break;
    }
    AddAddrRange(heap_, module, address, length);
  }
  return true;
}

void NameIndexReader::ReadRanges(const SectionPlace& section) {
  if (!section.exists) {
    return;
  }
  cursor_->Seek(section, 0, section.size);
  while (HasMore(section) && ReadRangeSet(section.size)) {
  }
}

}  // namespace

void ReadDwarf2NameIndexes(Cursor* cursor, const ByteSource* file, const Dwarf2Sections& sections, DescModule* modules,
                           RecordHeap* tableHeap) {
  if (cursor->failure()) {
    return;
  }
  NameIndexReader reader(cursor, tableHeap);
  if (reader.TakeModules(modules) && reader.ReadNames(file, sections.pubnames)) {
    reader.ReadRanges(sections.aranges);
  }
}
