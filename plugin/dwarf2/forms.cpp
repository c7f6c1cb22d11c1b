#include "dwarf2/forms.h"

#include <cstring>
#include <iterator>

#include "records/empty_string.h"

namespace {

constexpr uint32_t LEB_BITS = 7;
constexpr uint32_t LEB_MAX_SHIFT = 80;

enum class FormShape : uint8_t {
  invalid,
  fixed,    // `size` bytes
  address,  // addressSize bytes
  block,    // a length of `size` bytes (0: ULEB128), then that many bytes
  string,   // bytes through the terminating NUL
  uleb,
  sleb,
  indirect,  // ULEB128 form code, then a value of that form
};

struct FormRow {
  FormShape shape;
  uint8_t size;
};

// Row number is the form code.
// clang-format off
constexpr FormRow formRows[] = {
    {FormShape::invalid, 0},   // 0x00
    {FormShape::address, 0},   // 0x01 DW_FORM_addr
    {FormShape::invalid, 0},   // 0x02
    {FormShape::block, 2},     // 0x03 DW_FORM_block2
    {FormShape::block, 4},     // 0x04 DW_FORM_block4
    {FormShape::fixed, 2},     // 0x05 DW_FORM_data2
    {FormShape::fixed, 4},     // 0x06 DW_FORM_data4
    {FormShape::fixed, 8},     // 0x07 DW_FORM_data8
    {FormShape::string, 0},    // 0x08 DW_FORM_string
    {FormShape::block, 0},     // 0x09 DW_FORM_block
    {FormShape::block, 1},     // 0x0A DW_FORM_block1
    {FormShape::fixed, 1},     // 0x0B DW_FORM_data1
    {FormShape::fixed, 1},     // 0x0C DW_FORM_flag
    {FormShape::sleb, 0},      // 0x0D DW_FORM_sdata
    {FormShape::fixed, 4},     // 0x0E DW_FORM_strp
    {FormShape::uleb, 0},      // 0x0F DW_FORM_udata
    {FormShape::address, 0},   // 0x10 DW_FORM_ref_addr
    {FormShape::fixed, 1},     // 0x11 DW_FORM_ref1
    {FormShape::fixed, 2},     // 0x12 DW_FORM_ref2
    {FormShape::fixed, 4},     // 0x13 DW_FORM_ref4
    {FormShape::fixed, 8},     // 0x14 DW_FORM_ref8
    {FormShape::uleb, 0},      // 0x15 DW_FORM_ref_udata
    {FormShape::indirect, 0},  // 0x16 DW_FORM_indirect
};
// clang-format on
static_assert(std::size(formRows) == DW_FORM_indirect + 1);

FormRow RowOf(uint32_t form) {
  return form < std::size(formRows) ? formRows[form] : FormRow{FormShape::invalid, 0};
}

// The number of bytes up to the NUL, with the stream left in front of it; up to the end of the file where there is
// none.
uint32_t MeasureString(ElfStream* file) {
  uint32_t length = 0;
  while (!file->AtEnd()) {
    const uint32_t inBlock = file->BytesInBlock();
    const void* nul = std::memchr(file->Peek(), 0, inBlock);
    const auto part = nul == nullptr ? inBlock : static_cast<uint32_t>(static_cast<const uint8_t*>(nul) - file->Peek());
    file->Take(part);
    length += part;
    if (nul != nullptr) {
      break;
    }
  }
  return length;
}

// Consumes the NUL behind a string of `length` bytes; the end of the file in its place sets the latch.
void FinishString(ElfImage* image, uint32_t length) {
  SpendOnText(length);
  dwarf2State.position += length;
  if (image->file->AtEnd()) {
    Fail("string without end");
  } else {
    ReadU8(image);
  }
}

// With the latch set a string loop takes one byte and stops.
void SkipInlineString(ElfImage* image) {
  if (dwarf2State.failed != 0) {
    ReadU8(image);
    return;
  }
  FinishString(image, MeasureString(image->file));
}

char* NewString(mem_desc* heap, uint32_t length) {
  auto* text = static_cast<char*>(HEAP_Get(heap, static_cast<size_t>(length) + 1));
  if (text == nullptr) {
    Fail("no memory for a string");
    return nullptr;
  }
  text[length] = 0;
  return text;
}

char* ReadStringAcrossBlocks(ElfImage* image, mem_desc* heap) {
  ElfStream* file = image->file;
  const uint64_t start = file->Position();
  const uint32_t length = MeasureString(file);
  char* text = NewString(heap, length);
  if (text == nullptr) {
    FinishString(image, length);
    return EmptyString();
  }
  file->Seek(start);
  const uint32_t got = file->Read(text, length);
  std::memset(text + got, 0, length - got);  // less only when the file changes meanwhile
  FinishString(image, length);
  return text;
}

char* ReadIndirectString(ElfImage* image, mem_desc* heap) {
  const uint32_t offset = ReadU32(image);
  const bool isShared = heap == dwarf2State.recentHeap && dwarf2State.failed == 0;
  char* text = isShared ? dwarf2State.recentTexts.Find(offset) : nullptr;
  if (text != nullptr) {
    return text;
  }
  const uint32_t behind = dwarf2State.position;
  text = EmptyString();
  if (dwarf2State.sections.str == nullptr) {
    Fail("no .debug_str");
  } else {
    SeekTo(image, dwarf2State.sections.str, offset);
    text = ReadInlineString(image, heap);
  }
  if (isShared) {
    dwarf2State.recentTexts.Put(offset, text);
  }
  SeekTo(image, dwarf2State.sections.info, behind);
  return text;
}

}  // namespace

void SkipBytes(ElfImage* image, uint32_t count) {
  if (count > INT32_MAX) {
    Fail("block of 0x%X bytes leads backwards", static_cast<unsigned>(count));
    return;
  }
  ELF_Skip(image, static_cast<int32_t>(count));
  dwarf2State.position += count;
}

uint32_t ReadLongUleb(ElfImage* image, uint8_t firstByte) {
  uint32_t value = firstByte & 0x7FU;
  for (uint32_t shift = LEB_BITS; shift <= LEB_MAX_SHIFT; shift += LEB_BITS) {
    const uint8_t byte = ReadU8(image);
    value |= (byte & 0x7FU) << (shift % 32);
    if (byte < 0x80) {
      return value;
    }
  }
  return 0;
}

int32_t ReadSleb(ElfImage* image) {
  uint32_t value = 0;
  uint32_t shift = 0;
  for (;;) {
    const uint8_t byte = ReadU8(image);
    value |= (byte & 0x7FU) << (shift % 32);
    shift += LEB_BITS;
    if (shift > LEB_MAX_SHIFT) {
      return 0;  // whatever the twelfth byte's bit 7
    }
    if (byte >= 0x80) {
      continue;
    }
    if (shift < 31 && (byte & 0x40U) != 0) {
      value |= ~0U << shift;
    }
    return static_cast<int32_t>(value);
  }
}

uint32_t ReadAddress(ElfImage* image, uint32_t size) {
  if (size == 4) {
    return ReadU32(image);
  }
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t byte = ReadU8(image);
    value = image->littleEndian != 0 ? value | byte << (8 * i % 32) : value << 8 | byte;
  }
  return value;
}

uint32_t ReadAddressForm(ElfImage* image, uint32_t form, uint32_t size) {
  if (form != DW_FORM_addr) {
    SkipForm(image, form);
    return 0;
  }
  return ReadAddress(image, size & 0xFF);
}

uint32_t ReadData8(ElfImage* image) {
  const uint32_t first = ReadU32(image);
  const uint32_t second = ReadU32(image);
  return image->littleEndian != 0 ? first : second;
}

char* ReadInlineString(ElfImage* image, mem_desc* heap) {
  if (dwarf2State.failed != 0) {
    ReadU8(image);  // one byte is taken, and the string is empty
    char* empty = NewString(heap, 0);
    return empty != nullptr ? empty : EmptyString();
  }
  ElfStream* file = image->file;
  const uint8_t* bytes = file->Peek();
  const void* nul = std::memchr(bytes, 0, file->BytesInBlock());
  if (nul == nullptr) {
    return ReadStringAcrossBlocks(image, heap);
  }
  const auto length = static_cast<uint32_t>(static_cast<const uint8_t*>(nul) - bytes);
  char* text = NewString(heap, length);
  if (text != nullptr) {
    std::memcpy(text, bytes, length);
  }
  file->Take(length + 1);
  dwarf2State.position += length + 1;
  SpendOnText(length);
  return text != nullptr ? text : EmptyString();
}

char* ReadStringForm(ElfImage* image, uint32_t form, mem_desc* heap, int keep) {
  if (keep != 0 && form == DW_FORM_string) {
    return ReadInlineString(image, heap);
  }
  if (keep != 0 && form == DW_FORM_strp) {
    return ReadIndirectString(image, heap);
  }
  SkipForm(image, form);
  return EmptyString();
}

uint32_t ReadBlockLength(ElfImage* image, uint32_t form) {
  switch (form) {
    case DW_FORM_block1:
      return ReadU8(image);
    case DW_FORM_block2:
      return ReadU16(image);
    case DW_FORM_block4:
      return ReadU32(image);
    default:
      return ReadUleb(image);
  }
}

char* ReadBlockForm(ElfImage* image, uint32_t form, mem_desc* heap, int keep) {
  const FormRow row = RowOf(form);
  if (row.shape != FormShape::block) {
    SkipForm(image, form);
    return nullptr;
  }
  const uint32_t length = ReadBlockLength(image, form);
  if (keep == 0) {
    SkipBytes(image, length);
    return EmptyString();
  }
  if (length > ELF_BytesLeft(image)) {
    Fail("block of 0x%X bytes behind the end of the file", static_cast<unsigned>(length));
    return nullptr;
  }
  auto* block = static_cast<char*>(HEAP_Get(heap, static_cast<size_t>(length) + 1));
  if (block == nullptr) {
    Fail("no memory for a block");
    return nullptr;
  }
  const uint32_t got = image->file->Read(block, length);
  std::memset(block + got, 0, static_cast<size_t>(length) - got + 1);
  dwarf2State.position += length;
  return block;
}

uint32_t ReadConstantForm(ElfImage* image, uint32_t form) {
  switch (form) {
    case DW_FORM_data1:
      return ReadU8(image);
    case DW_FORM_data2:
      return ReadU16(image);
    case DW_FORM_data4:
      return ReadU32(image);
    case DW_FORM_data8:
      return ReadData8(image);
    case DW_FORM_sdata:
      return static_cast<uint32_t>(ReadSleb(image));
    case DW_FORM_udata:
      return ReadUleb(image);
    default:
      SkipForm(image, form);
      Fail("form 0x%X is no constant", static_cast<unsigned>(form));
      return 0;
  }
}

uint32_t ReadReferenceForm(ElfImage* image, uint32_t form) {
  switch (form) {
    case DW_FORM_ref_addr:
      return ReadAddress(image, dwarf2State.addressSize);
    case DW_FORM_ref1:
      return ReadU8(image) + dwarf2State.unitBase;
    case DW_FORM_ref2:
      return ReadU16(image) + dwarf2State.unitBase;
    case DW_FORM_ref4:
      return ReadU32(image) + dwarf2State.unitBase;
    case DW_FORM_ref8:
      return ReadData8(image) + dwarf2State.unitBase;
    case DW_FORM_ref_udata:
      return ReadUleb(image) + dwarf2State.unitBase;
    default:
      SkipForm(image, form);
      Fail("form 0x%X is no reference", static_cast<unsigned>(form));
      return 0;
  }
}

uint32_t ReadFlagForm(ElfImage* image, uint32_t form) {
  if (form != DW_FORM_flag) {
    SkipForm(image, form);
    return 0;
  }
  return ReadU8(image) != 0 ? 1 : 0;
}

int32_t FixedFormSize(uint32_t form) {
  const FormRow row = RowOf(form);
  switch (row.shape) {
    case FormShape::fixed:
      return row.size;
    case FormShape::address:
      return dwarf2State.addressSize;
    default:
      return -1;
  }
}

void SkipForm(ElfImage* image, uint32_t form) {
  FormRow row = RowOf(form);
  while (row.shape == FormShape::indirect) {
    form = ReadUleb(image);  // 0, and so invalid, while the latch is set and where the code is over-long
    row = RowOf(form);
  }
  switch (row.shape) {
    case FormShape::fixed:
      SkipBytes(image, row.size);
      break;
    case FormShape::address:
      SkipBytes(image, dwarf2State.addressSize);
      break;
    case FormShape::block:
      SkipBytes(image, ReadBlockLength(image, form));
      break;
    case FormShape::string:
      SkipInlineString(image);
      break;
    case FormShape::uleb:
      ReadUleb(image);
      break;
    case FormShape::sleb:
      ReadSleb(image);
      break;
    default:
      Fail("form 0x%X is unassigned", static_cast<unsigned>(form));
      break;
  }
}

char* DuplicateString(mem_desc* heap, const char* text) {
  const size_t size = std::strlen(text) + 1;
  char* copy = NewString(heap, static_cast<uint32_t>(size - 1));
  if (copy == nullptr) {
    return EmptyString();
  }
  std::memcpy(copy, text, size);
  return copy;
}
