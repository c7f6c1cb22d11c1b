// Location attributes: expressions as the file has them, and lists of .debug_loc. No operation is decoded here.
#include "dwarf2/entries/entries.h"

namespace {

constexpr uint32_t ADDRESS_SPACE_END = 0xFFFFFFFF;

// A record with a copy of the `length` bytes that the stream stands in front of. Null, with the latch set, for bytes
// that the file cannot back, and without memory.
DescLocation* ReadExpression(ElfImage* image, mem_desc* heap, uint32_t length, uint32_t lowPc, uint32_t highPc) {
  if (length > ELF_BytesLeft(image)) {
    Fail("expression of 0x%X bytes behind the end of the file", static_cast<unsigned>(length));
    return nullptr;
  }
  auto* location = static_cast<DescLocation*>(HEAP_Get(heap, sizeof(DescLocation) + length + EXPRESSION_PADDING));
  if (location == nullptr) {
    Fail("no memory for a location");
    return nullptr;
  }
  location->next = nullptr;
  location->lowPc = lowPc;
  location->highPc = highPc;
  location->expression = reinterpret_cast<uint8_t*>(location + 1);
  const uint32_t got = image->file->Read(location->expression, length);
  std::memset(location->expression + got, 0, length - got + EXPRESSION_PADDING);
  dwarf2State.position += length;
  SpendOnText(length);
  return location;
}

// Both 0, as published, or both 0xFFFFFFFF, as 4-byte addresses read behind the end of the file.
bool IsEndMarker(uint32_t begin, uint32_t end) {
  return begin == end && (begin == 0 || begin == ADDRESS_SPACE_END);
}

}  // namespace

// A list's entries, each in front of the one before it, so that the chain runs against file order. An entry is:
//   begin, end   addressSize bytes each, taken as they stand
//   length       2 bytes, not in the end marker
//   expression   length bytes
DescLocation* ReadLocationList(ElfImage* image, uint32_t offset, mem_desc* heap) {
  const uint32_t behind = dwarf2State.position;
  const ElfSectionHeader* section = dwarf2State.sections.loc;
  DescLocation* chain = nullptr;
  SeekTo(image, section, offset);
  while (section != nullptr && dwarf2State.failed == 0) {
    if (dwarf2State.position >= section->sh_size) {
      Fail("location list without end");
      break;
    }
    const uint32_t begin = ReadAddress(image, dwarf2State.addressSize);
    const uint32_t end = ReadAddress(image, dwarf2State.addressSize);
    if (IsEndMarker(begin, end)) {
      break;
    }
    DescLocation* location = ReadExpression(image, heap, ReadU16(image), begin, end);
    if (location == nullptr) {
      return nullptr;  // the stream stays in .debug_loc: every loop ends at its next test of the latch
    }
    location->next = chain;
    chain = location;
    SpendOnRecords(sizeof(begin) + sizeof(end));
  }
  SeekTo(image, dwarf2State.sections.info, behind);
  return chain;
}

DescLocation* ReadLocationAttribute(ElfImage* image, uint32_t form, mem_desc* heap) {
  switch (form) {
    case DW_FORM_block1:
    case DW_FORM_block2:
    case DW_FORM_block4:
    case DW_FORM_block:
      return ReadExpression(image, heap, ReadBlockLength(image, form), 0, ADDRESS_SPACE_END);
    case DW_FORM_data1:
    case DW_FORM_data2:
    case DW_FORM_data4:
    case DW_FORM_data8:
    case DW_FORM_sdata:
    case DW_FORM_udata:
      return ReadLocationList(image, ReadConstantForm(image, form), heap);
    case DW_FORM_ref_addr:
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
    case DW_FORM_ref8:
    case DW_FORM_ref_udata:
      return ReadLocationList(image, ReadReferenceForm(image, form), heap);
    default:
      SkipForm(image, form);
      return nullptr;
  }
}
