#include "dwarf2/form_values.h"

#include <algorithm>

#include "dwarf/leb128.h"

namespace {

// In bytes: of a value that the entry has no bytes of, and of a table's entry that is far from the one before it.
constexpr uint32_t COST_OF_NO_BYTES = 4;
constexpr uint32_t COST_OF_WINDOW = 32;

// A number of LEB128 in its 64 bits. What is past them is dropped.
uint64_t ReadWideUleb(Cursor* cursor) {
  uint64_t value = 0;
  for (uint32_t shift = 0; !cursor->failure(); shift += LEB_BITS) {
    const uint8_t byte = cursor->U8();
    value |= shift < 64 ? uint64_t{byte & 0x7FU} << shift : 0;
    if (byte < 0x80 || shift > LEB_MAX_SHIFT) {
      break;
    }
  }
  return value;
}

int64_t ReadWideSleb(Cursor* cursor) {
  uint64_t value = 0;
  uint32_t shift = 0;
  uint8_t byte = 0;
  do {
    byte = cursor->U8();
    value |= shift < 64 ? uint64_t{byte & 0x7FU} << shift : 0;
    shift += LEB_BITS;
  } while (byte >= 0x80 && shift <= LEB_MAX_SHIFT && !cursor->failure());
  if (shift < 64 && (byte & 0x40U) != 0) {
    value |= ~uint64_t{0} << shift;
  }
  return static_cast<int64_t>(value);
}

// A number of 1 to 4 bytes.
uint32_t ReadSmall(Cursor* cursor, uint32_t size) {
  switch (size) {
    case 1:
      return cursor->U8();
    case 2:
      return cursor->U16();
    case 4:
      return cursor->U32();
    default:
      return ReadAddress(cursor, size);
  }
}

uint64_t ReadFixed(Cursor* cursor, uint32_t size) {
  if (size <= 4) {
    return ReadSmall(cursor, size);
  }
  const uint64_t first = cursor->U32();
  const uint64_t second = cursor->U32();
  return cursor->IsLittleEndian() ? second << 32 | first : first << 32 | second;
}

AttributeValue Number(ValueClass valueClass, uint64_t number, uint8_t size = 0) {
  return {valueClass, size, static_cast<uint32_t>(number), static_cast<uint32_t>(number >> 32), 0};
}

AttributeValue ReadBlock(Cursor* cursor, uint32_t form) {
  const uint32_t length = ReadBlockLength(cursor, form);
  const uint32_t place = cursor->Offset();
  if (length > cursor->BytesLeft()) {
    cursor->Fail("a block of 0x%X bytes goes past the end of the file", static_cast<unsigned>(length));
    return Number(ValueClass::absent, 0);
  }
  cursor->Skip(length);
  return {form == DW_FORM_exprloc ? ValueClass::expression : ValueClass::block, 0, length, 0, place};
}

AttributeValue ReadInlineText(Cursor* cursor) {
  AttributeValue value = Number(ValueClass::inlineText, 0);
  value.place = cursor->Offset();
  SkipText(cursor);
  return value;
}

AttributeValue Reference(Cursor* cursor, uint32_t offset, const UnitForms& unit) {
  if (offset + unit.unitBase < offset) {
    cursor->Fail("a reference of 0x%X leads past the end of the section", static_cast<unsigned>(offset));
    return Number(ValueClass::absent, 0);
  }
  return Number(ValueClass::reference, offset + unit.unitBase);
}

}  // namespace

FormValues::FormValues(Failure* failure, Allowance* allowance)
    : addr_(failure, allowance), strOffsets_(failure, allowance) {}

void FormValues::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections) {
  sections_ = sections;
  addr_.Use(file, littleEndian);
  strOffsets_.Use(file, littleEndian);
}

uint32_t FormValues::ReadOffset(Cursor* cursor, uint32_t offsetSize) {
  const uint64_t offset = ReadFixed(cursor, offsetSize);
  if (offset > UINT32_MAX) {
    cursor->Fail("an offset has more than 32 bits");
    return UINT32_MAX;
  }
  return static_cast<uint32_t>(offset);
}

void FormValues::Skip(Cursor* cursor, uint32_t form, const UnitForms& unit) {
  while (form == DW_FORM_indirect) {
    form = ReadUleb(cursor);
    if (form == DW_FORM_implicit_const) {
      ReadSleb(cursor);
    }
  }
  const int32_t size = FixedFormSize(form, unit);
  if (size == 0) {
    cursor->Charge(COST_OF_NO_BYTES);
  } else if (size > 0) {
    cursor->Skip(static_cast<uint32_t>(size));
  }
  if (size >= 0) {
    return;
  }
  switch (RowOfForm(form, unit).shape) {
    case FormShape::block:
      ReadBlock(cursor, form);
      break;
    case FormShape::text:
      SkipText(cursor);
      break;
    case FormShape::uleb:
      ReadUleb(cursor);
      break;
    case FormShape::sleb:
      ReadSleb(cursor);
      break;
    default:
      cursor->Fail("form 0x%X is not known", static_cast<unsigned>(form));
      break;
  }
}

// Goes to an entry of a table that is counted from a unit's base.
bool FormValues::SeekEntry(Cursor* cursor, const SectionPlace& section, uint32_t base, uint32_t index, uint32_t size) {
  const uint64_t offset = base + uint64_t{index} * size;
  if (offset + size > section.size) {
    cursor->failure().Note(section.name, base, "there is no entry %u", static_cast<unsigned>(index));
    return false;
  }
  if (cursor->Section().name == section.name) {
    cursor->Seek(static_cast<uint32_t>(offset));
  } else {
    cursor->Seek(section, static_cast<uint32_t>(offset));
  }
  if (cursor->Next() > cursor->Limit()) {
    cursor->Charge(COST_OF_WINDOW);
  }
  return !cursor->failure();
}

uint32_t FormValues::AddressAt(uint32_t index, const UnitForms& unit) {
  const bool isThere = SeekEntry(&addr_, sections_->addr, unit.addrBase, index, unit.addressSize);
  return isThere ? ReadAddress(&addr_, unit.addressSize) : 0;
}

bool FormValues::TextOffsetAt(uint32_t index, const UnitForms& unit, uint32_t* offset) {
  if (!SeekEntry(&strOffsets_, sections_->strOffsets, unit.strOffsetsBase, index, unit.offsetSize)) {
    return false;
  }
  *offset = ReadOffset(&strOffsets_, unit.offsetSize);
  return true;
}

AttributeValue FormValues::ReadTextIndex(uint32_t index, const UnitForms& unit) {
  uint32_t offset = 0;
  const bool isThere = TextOffsetAt(index, unit, &offset);
  return Number(isThere ? ValueClass::text : ValueClass::absent, offset);
}

AttributeValue FormValues::ReadIndex(Cursor* cursor, uint32_t form, const UnitForms& unit) {
  const FormRow row = RowOfForm(form, unit);
  const uint32_t index = row.shape == FormShape::uleb ? ReadUleb(cursor) : ReadSmall(cursor, row.size);
  switch (form) {
    case DW_FORM_loclistx:
    case DW_FORM_rnglistx:
      return Number(ValueClass::listIndex, index);
    case DW_FORM_strx:
    case DW_FORM_strx1:
    case DW_FORM_strx2:
    case DW_FORM_strx3:
    case DW_FORM_strx4:
    case DW_FORM_GNU_str_index:
      return ReadTextIndex(index, unit);
    default:
      return Number(ValueClass::address, AddressAt(index, unit));
  }
}

AttributeValue FormValues::Read(Cursor* cursor, uint32_t form, int32_t implicitConst, const UnitForms& unit) {
  while (form == DW_FORM_indirect) {
    form = ReadUleb(cursor);
    implicitConst = form == DW_FORM_implicit_const ? ReadSleb(cursor) : 0;
  }
  switch (form) {
    case DW_FORM_addr:
      return Number(ValueClass::address, ReadAddress(cursor, unit.addressSize));
    case DW_FORM_block1:
    case DW_FORM_block2:
    case DW_FORM_block4:
    case DW_FORM_block:
    case DW_FORM_exprloc:
      return ReadBlock(cursor, form);
    case DW_FORM_data1:
    case DW_FORM_data2:
    case DW_FORM_data4:
    case DW_FORM_data8: {
      const uint8_t size = RowOfForm(form).size;
      return Number(ValueClass::constant, ReadFixed(cursor, size), size);
    }
    case DW_FORM_data16: {  // the checksum of a source file, or a wide constant
      const uint32_t place = cursor->Offset();
      cursor->Skip(16);
      return {ValueClass::block, 16, 16, 0, place};
    }
    case DW_FORM_udata:
      return Number(ValueClass::constant, ReadWideUleb(cursor));
    case DW_FORM_sdata:
      return Number(ValueClass::signedConstant, static_cast<uint64_t>(ReadWideSleb(cursor)));
    case DW_FORM_implicit_const:
      cursor->Charge(COST_OF_NO_BYTES);
      return Number(ValueClass::signedConstant, static_cast<uint64_t>(int64_t{implicitConst}));
    case DW_FORM_flag:
      return Number(ValueClass::flag, cursor->U8() != 0 ? 1 : 0);
    case DW_FORM_flag_present:
      cursor->Charge(COST_OF_NO_BYTES);
      return Number(ValueClass::flag, 1);
    case DW_FORM_string:
      return ReadInlineText(cursor);
    case DW_FORM_strp:
      return Number(ValueClass::text, ReadOffset(cursor, unit.offsetSize));
    case DW_FORM_line_strp:
      return Number(ValueClass::lineText, ReadOffset(cursor, unit.offsetSize));
    case DW_FORM_sec_offset:
      return Number(ValueClass::offset, ReadOffset(cursor, unit.offsetSize));
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
      return Reference(cursor, ReadSmall(cursor, RowOfForm(form).size), unit);
    case DW_FORM_ref8:
      return Reference(cursor, ReadOffset(cursor, 8), unit);
    case DW_FORM_ref_udata:
      return Reference(cursor, ReadUleb(cursor), unit);
    case DW_FORM_ref_addr:
      return Number(ValueClass::reference,
                    unit.version < 3 ? ReadAddress(cursor, unit.addressSize) : ReadOffset(cursor, unit.offsetSize));
    case DW_FORM_ref_sig8:
      return Number(ValueClass::signature, ReadFixed(cursor, 8));
    case DW_FORM_ref_sup4:
    case DW_FORM_ref_sup8:
      return Number(ValueClass::supplementary, ReadFixed(cursor, RowOfForm(form, unit).size));
    case DW_FORM_strp_sup:
    case DW_FORM_GNU_ref_alt:
    case DW_FORM_GNU_strp_alt:
      return Number(ValueClass::supplementary, ReadOffset(cursor, unit.offsetSize));
    default:
      break;
  }
  const FormShape shape = RowOfForm(form, unit).shape;
  if (shape == FormShape::invalid) {
    cursor->Fail("form 0x%X is not known", static_cast<unsigned>(form));
    return Number(ValueClass::absent, 0);
  }
  return ReadIndex(cursor, form, unit);
}
