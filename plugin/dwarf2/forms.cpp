#include "dwarf2/forms.h"

#include <iterator>

#include "dwarf/leb128.h"

namespace {

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
    {FormShape::text, 0},      // 0x08 DW_FORM_string
    {FormShape::block, 0},     // 0x09 DW_FORM_block
    {FormShape::block, 1},     // 0x0A DW_FORM_block1
    {FormShape::fixed, 1},     // 0x0B DW_FORM_data1
    {FormShape::fixed, 1},     // 0x0C DW_FORM_flag
    {FormShape::sleb, 0},      // 0x0D DW_FORM_sdata
    {FormShape::offset, 4},    // 0x0E DW_FORM_strp
    {FormShape::uleb, 0},      // 0x0F DW_FORM_udata
    {FormShape::address, 0},   // 0x10 DW_FORM_ref_addr
    {FormShape::fixed, 1},     // 0x11 DW_FORM_ref1
    {FormShape::fixed, 2},     // 0x12 DW_FORM_ref2
    {FormShape::fixed, 4},     // 0x13 DW_FORM_ref4
    {FormShape::fixed, 8},     // 0x14 DW_FORM_ref8
    {FormShape::uleb, 0},      // 0x15 DW_FORM_ref_udata
    {FormShape::indirect, 0},  // 0x16 DW_FORM_indirect
    {FormShape::offset, 4},    // 0x17 DW_FORM_sec_offset
    {FormShape::block, 0},     // 0x18 DW_FORM_exprloc
    {FormShape::none, 0},      // 0x19 DW_FORM_flag_present
    {FormShape::uleb, 0},      // 0x1A DW_FORM_strx
    {FormShape::uleb, 0},      // 0x1B DW_FORM_addrx
    {FormShape::fixed, 4},     // 0x1C DW_FORM_ref_sup4
    {FormShape::offset, 4},    // 0x1D DW_FORM_strp_sup
    {FormShape::fixed, 16},    // 0x1E DW_FORM_data16
    {FormShape::offset, 4},    // 0x1F DW_FORM_line_strp
    {FormShape::fixed, 8},     // 0x20 DW_FORM_ref_sig8
    {FormShape::none, 0},      // 0x21 DW_FORM_implicit_const
    {FormShape::uleb, 0},      // 0x22 DW_FORM_loclistx
    {FormShape::uleb, 0},      // 0x23 DW_FORM_rnglistx
    {FormShape::fixed, 8},     // 0x24 DW_FORM_ref_sup8
    {FormShape::fixed, 1},     // 0x25 DW_FORM_strx1
    {FormShape::fixed, 2},     // 0x26 DW_FORM_strx2
    {FormShape::fixed, 3},     // 0x27 DW_FORM_strx3
    {FormShape::fixed, 4},     // 0x28 DW_FORM_strx4
    {FormShape::fixed, 1},     // 0x29 DW_FORM_addrx1
    {FormShape::fixed, 2},     // 0x2A DW_FORM_addrx2
    {FormShape::fixed, 3},     // 0x2B DW_FORM_addrx3
    {FormShape::fixed, 4},     // 0x2C DW_FORM_addrx4
};
// clang-format on
static_assert(std::size(formRows) == DW_FORM_addrx4 + 1);

// A length that a signed distance would take backwards fails.
void SkipBlock(Cursor* cursor, uint32_t length) {
  if (length > INT32_MAX) {
    cursor->Fail("a block of 0x%X bytes leads backwards", static_cast<unsigned>(length));
  } else {
    cursor->Skip(length);
  }
}

// The low 32 bits of 8 bytes.
uint32_t ReadData8(Cursor* cursor) {
  const uint32_t first = cursor->U32();
  const uint32_t second = cursor->U32();
  return cursor->IsLittleEndian() ? first : second;
}

}  // namespace

FormRow RowOfForm(uint32_t form) {
  return form <= DW_FORM_indirect ? formRows[form] : FormRow{FormShape::invalid, 0};
}

FormRow RowOfForm(uint32_t form, const UnitForms& unit) {
  if (!unit.rules->readsUnitsByVersion) {
    return RowOfForm(form);
  }
  switch (form) {
    case DW_FORM_ref_addr:
      return {unit.version < 3 ? FormShape::address : FormShape::offset, 4};
    case DW_FORM_GNU_addr_index:
    case DW_FORM_GNU_str_index:
      return {FormShape::uleb, 0};
    case DW_FORM_GNU_ref_alt:
    case DW_FORM_GNU_strp_alt:
      return {FormShape::offset, 4};
    default:
      return form < std::size(formRows) ? formRows[form] : FormRow{FormShape::invalid, 0};
  }
}

int32_t FixedFormSize(uint32_t form, const UnitForms& unit) {
  const FormRow row = RowOfForm(form, unit);
  switch (row.shape) {
    case FormShape::fixed:
      return row.size;
    case FormShape::offset:
      return unit.offsetSize;
    case FormShape::address:
      return unit.addressSize;
    case FormShape::none:
      return 0;
    default:
      return -1;
  }
}

void SkipText(Cursor* cursor) {
  if (cursor->failure()) {
    cursor->U8();  // one byte is taken
    return;
  }
  bool ended = false;
  const uint32_t length = cursor->TextLength(&ended);
  cursor->Skip(length);
  if (ended) {
    cursor->Skip(1);
  } else {
    cursor->Fail("a text without end");
  }
}

void SkipForm(Cursor* cursor, uint32_t form, uint8_t addressSize) {
  while (form == DW_FORM_indirect) {  // of an indirect form, and so on
    form = ReadUleb(cursor);
  }
  const FormRow row = RowOfForm(form);
  switch (row.shape) {
    case FormShape::fixed:
    case FormShape::offset:
      cursor->Skip(row.size);
      break;
    case FormShape::address:
      cursor->Skip(addressSize);
      break;
    case FormShape::block:
      SkipBlock(cursor, ReadBlockLength(cursor, form));
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
      cursor->Fail("form 0x%X is unassigned", static_cast<unsigned>(form));
      break;
  }
}

uint32_t ReadAddress(Cursor* cursor, uint32_t size) {
  if (size == 4) {
    return cursor->U32();
  }
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t byte = cursor->U8();
    value = cursor->IsLittleEndian() ? value | byte << (8 * i % 32) : value << 8 | byte;
  }
  return value;
}

uint32_t ReadAddressForm(Cursor* cursor, uint32_t form, uint8_t addressSize) {
  if (form != DW_FORM_addr) {
    SkipForm(cursor, form, addressSize);
    return 0;
  }
  return ReadAddress(cursor, addressSize);
}

uint32_t ReadBlockLength(Cursor* cursor, uint32_t form) {
  switch (form) {
    case DW_FORM_block1:
      return cursor->U8();
    case DW_FORM_block2:
      return cursor->U16();
    case DW_FORM_block4:
      return cursor->U32();
    default:
      return ReadUleb(cursor);
  }
}

uint32_t ReadConstantForm(Cursor* cursor, uint32_t form, uint8_t addressSize) {
  switch (form) {
    case DW_FORM_data1:
      return cursor->U8();
    case DW_FORM_data2:
      return cursor->U16();
    case DW_FORM_data4:
      return cursor->U32();
    case DW_FORM_data8:
      return ReadData8(cursor);
    case DW_FORM_sdata:
      return static_cast<uint32_t>(ReadSleb(cursor));
    case DW_FORM_udata:
      return ReadUleb(cursor);
    default:
      SkipForm(cursor, form, addressSize);
      cursor->Fail("form 0x%X is no constant", static_cast<unsigned>(form));
      return 0;
  }
}

uint32_t ReadReferenceForm(Cursor* cursor, uint32_t form, const UnitForms& unit) {
  switch (form) {
    case DW_FORM_ref_addr:
      return ReadAddress(cursor, unit.addressSize);
    case DW_FORM_ref1:
      return cursor->U8() + unit.unitBase;
    case DW_FORM_ref2:
      return cursor->U16() + unit.unitBase;
    case DW_FORM_ref4:
      return cursor->U32() + unit.unitBase;
    case DW_FORM_ref8:
      return ReadData8(cursor) + unit.unitBase;
    case DW_FORM_ref_udata:
      return ReadUleb(cursor) + unit.unitBase;
    default:
      SkipForm(cursor, form, unit.addressSize);
      cursor->Fail("form 0x%X is no reference", static_cast<unsigned>(form));
      return 0;
  }
}

uint32_t ReadFlagForm(Cursor* cursor, uint32_t form, uint8_t addressSize) {
  if (form == DW_FORM_flag) {
    return cursor->U8() != 0 ? 1 : 0;
  }
  SkipForm(cursor, form, addressSize);
  return 0;
}
