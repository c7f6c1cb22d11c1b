#include "dwarf2/name_index.h"

#include "dwarf2/entries/entries.h"

namespace {

constexpr uint32_t INDEX_VERSION = 2;
constexpr uint32_t RANGE_SET_HEADER_SIZE = 12;

// Modules by the offset of their unit; sets come in any order.
class ModulesByUnit {
 public:
  explicit ModulesByUnit(DescModule* modules) {
    for (DescModule* module = modules; module != nullptr; module = module->next) {
      if (!index_.Insert(module->ext->unitOffset, module)) {
        Fail("no memory for the index of units");
        return;
      }
    }
  }
  DescModule* Find(uint32_t unitOffset) const {
    return index_.Find<DescModule>(unitOffset, [](const DescModule*) { return true; });
  }

 private:
  HashIndex index_;
};

template <typename Node>
Node* Prepend(mem_desc* heap, Node** head) {
  auto* node = NewEntryRecord<Node>(heap);
  if (node != nullptr) {
    node->next = *head;
    *head = node;
  }
  return node;
}

// A set of names: unit_length 4, version 2, debug_info_offset 4, debug_info_length 4, then pairs of an offset (4) and a
// NUL-terminated name, up to an offset of 0. False when the reading ends here.
bool ReadNameSet(ElfImage* image, mem_desc* tableHeap, const ModulesByUnit& modules) {
  const uint32_t length = ReadU32(image);
  const uint32_t last = dwarf2State.position + length - 1;
  const uint32_t version = ReadU16(image);
  const uint32_t unitOffset = ReadU32(image);
  ReadU32(image);
  DescModule* module = modules.Find(unitOffset);
  if (version != INDEX_VERSION || module == nullptr) {
    return false;
  }
  uint32_t offset = ReadU32(image);
  while (offset != 0 && dwarf2State.position < last && dwarf2State.failed == 0) {
    char* name = ReadStringForm(image, DW_FORM_string, tableHeap, 1);
    DescGlobalName* node = Prepend(tableHeap, &module->ext->globalNames);
    if (node != nullptr) {
      node->name = name;
    }
    offset = ReadU32(image);
  }
  // A set whose names ended early is left by its own length.
  if (dwarf2State.failed == 0 && dwarf2State.position <= last) {
    SeekTo(image, dwarf2State.sections.pubnames, last + 1);
  }
  return true;
}

// False when the reading of both sections ends.
bool ReadNames(ElfImage* image, mem_desc* tableHeap, const ModulesByUnit& modules) {
  const ElfSectionHeader* section = dwarf2State.sections.pubnames;
  if (section == nullptr) {
    return true;
  }
  SeekTo(image, section, 0);
  while (dwarf2State.failed == 0 && dwarf2State.position < section->sh_size) {
    if (!ReadNameSet(image, tableHeap, modules)) {
      return false;
    }
  }
  return true;
}

// A number of `size` bytes; of more than four the low ones.
uint32_t ReadAddressValue(ElfImage* image, uint32_t size) {
  switch (size) {
    case 1:
      return ReadU8(image);
    case 2:
      return ReadU16(image);
    case 4:
      return ReadU32(image);
    default:
      break;
  }
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t byte = ReadU8(image);
    if (image->littleEndian == 0) {
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
bool ReadRangeSet(ElfImage* image, mem_desc* tableHeap, const ModulesByUnit& modules) {
  ReadU32(image);
  const uint32_t version = ReadU16(image);
  const uint32_t unitOffset = ReadU32(image);
  const uint32_t addressSize = ReadU8(image);
  ReadU8(image);
  if (version != INDEX_VERSION || addressSize == 0) {
    return false;
  }
  const uint32_t tupleSize = 2 * addressSize;
  const uint32_t ragged = RANGE_SET_HEADER_SIZE % tupleSize;
  const uint32_t padding = ragged != 0 ? tupleSize - ragged : 0;
  ELF_Skip(image, static_cast<int32_t>(padding));
  dwarf2State.position += padding;
  DescModule* module = modules.Find(unitOffset);
  if (module == nullptr) {
    return false;
  }
  // A set without its closing tuple ends with the section.
  const uint32_t end = dwarf2State.sections.aranges->sh_size;
  while (dwarf2State.position + tupleSize <= end && dwarf2State.failed == 0) {
    const uint32_t address = ReadAddressValue(image, addressSize);
    const uint32_t length = ReadAddressValue(image, addressSize);
    if (address == 0 && length == 0) {
      break;
    }
    DescAddrRange* range = Prepend(tableHeap, &module->ext->addrRanges);
    if (range != nullptr) {
      range->low = address;
      range->high = address + length - 1;
    }
  }
  return true;
}

void ReadRanges(ElfImage* image, mem_desc* tableHeap, const ModulesByUnit& modules) {
  const ElfSectionHeader* section = dwarf2State.sections.aranges;
  if (section == nullptr) {
    return;
  }
  SeekTo(image, section, 0);
  while (dwarf2State.failed == 0 && dwarf2State.position < section->sh_size) {
    if (!ReadRangeSet(image, tableHeap, modules)) {
      return;
    }
  }
}

}  // namespace

void ReadDwarf2NameIndexes(ElfImage* image, mem_desc* tableHeap, DescModule* modules) {
  const ModulesByUnit byUnit(modules);
  if (ReadNames(image, tableHeap, byUnit)) {
    ReadRanges(image, tableHeap, byUnit);
  }
}
