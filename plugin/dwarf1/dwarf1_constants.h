// Codes of DWARF 1, in the published spelling.
#pragma once

#include <cstdint>

// clang-format off

enum Dwarf1Tag : uint16_t {
  TAG_padding                = 0x00,
  TAG_array_type             = 0x01,
  TAG_class_type             = 0x02,
  TAG_entry_point            = 0x03,
  TAG_enumeration_type       = 0x04,
  TAG_formal_parameter       = 0x05,
  TAG_global_subroutine      = 0x06,
  TAG_global_variable        = 0x07,
  TAG_label                  = 0x0A,
  TAG_lexical_block          = 0x0B,
  TAG_local_variable         = 0x0C,
  TAG_member                 = 0x0D,
  TAG_pointer_type           = 0x0F,
  TAG_reference_type         = 0x10,
  TAG_compile_unit           = 0x11,
  TAG_string_type            = 0x12,
  TAG_structure_type         = 0x13,
  TAG_subroutine             = 0x14,
  TAG_subroutine_type        = 0x15,
  TAG_typedef                = 0x16,
  TAG_union_type             = 0x17,
  TAG_unspecified_parameters = 0x18,
};

// The low 4 bits of an attribute code are the form of its value, the rest is its name.
constexpr uint32_t FORM_MASK = 0x000F;
constexpr uint32_t NAME_MASK = 0xFFF0;

enum Dwarf1Form : uint8_t {
  FORM_NONE     = 0x0,
  FORM_ADDR     = 0x1,
  FORM_REF      = 0x2,  // offset in .debug
  FORM_BLOCK2   = 0x3,
  FORM_BLOCK4   = 0x4,
  FORM_DATA2    = 0x5,
  FORM_DATA4    = 0x6,
  FORM_DATA8    = 0x7,
  FORM_STRING   = 0x8,
  FORM_VENDOR_4 = 0xA,  // not published: 4 bytes
};

// Attribute names, without the form.
enum Dwarf1Attribute : uint16_t {
  AT_sibling       = 0x010,
  AT_location      = 0x020,
  AT_name          = 0x030,
  AT_fund_type     = 0x050,
  AT_mod_fund_type = 0x060,
  AT_user_def_type = 0x070,
  AT_mod_u_d_type  = 0x080,
  AT_ordering      = 0x090,
  AT_subscr_data   = 0x0A0,
  AT_byte_size     = 0x0B0,
  AT_bit_offset    = 0x0C0,
  AT_bit_size      = 0x0D0,
  AT_element_list  = 0x0F0,
  AT_stmt_list     = 0x100,
  AT_low_pc        = 0x110,
  AT_high_pc       = 0x120,
  AT_language      = 0x130,
  AT_member        = 0x140,
  AT_discr         = 0x150,
  AT_comp_dir      = 0x1B0,
  AT_const_value   = 0x1C0,
  AT_producer      = 0x250,
  AT_prototyped    = 0x270,
  AT_stride_size   = 0x2E0,
};

// Fundamental types.
enum Dwarf1FundType : uint16_t {
  FT_char              = 0x01,
  FT_signed_char       = 0x02,
  FT_unsigned_char     = 0x03,
  FT_short             = 0x04,
  FT_signed_short      = 0x05,
  FT_unsigned_short    = 0x06,
  FT_integer           = 0x07,
  FT_signed_integer    = 0x08,
  FT_unsigned_integer  = 0x09,
  FT_long              = 0x0A,
  FT_signed_long       = 0x0B,
  FT_unsigned_long     = 0x0C,
  FT_pointer           = 0x0D,
  FT_float             = 0x0E,
  FT_dbl_prec_float    = 0x0F,
  FT_ext_prec_float    = 0x10,
  FT_complex           = 0x11,
  FT_dbl_prec_complex  = 0x12,
  FT_void              = 0x14,
  FT_boolean           = 0x15,
  FT_ext_prec_complex  = 0x16,
  FT_label             = 0x17,
};
constexpr uint32_t FT_COUNT = 24;  // codes from 0 to FT_label

// Modifiers in front of a type; others than these two leave no record.
enum Dwarf1Modifier : uint8_t {
  MOD_pointer_to   = 0x01,
  MOD_reference_to = 0x02,
  MOD_const        = 0x03,
  MOD_volatile     = 0x04,
};

// Formats of an item of AT_subscr_data: fundamental or user-defined index type, constant or expression bounds.
enum Dwarf1SubscriptFormat : uint8_t {
  FMT_FT_C_C = 0x0,
  FMT_FT_C_X = 0x1,
  FMT_FT_X_C = 0x2,
  FMT_FT_X_X = 0x3,
  FMT_UT_C_C = 0x4,
  FMT_UT_C_X = 0x5,
  FMT_UT_X_C = 0x6,
  FMT_UT_X_X = 0x7,
  FMT_ET     = 0x8,  // ends the dimensions; the element type follows
};

// Atoms of a location. The reader stores locations as they are and looks into none.
enum Dwarf1LocationAtom : uint8_t {
  OP_REG     = 0x01,
  OP_BASEREG = 0x02,
  OP_ADDR    = 0x03,
  OP_CONST   = 0x04,
  OP_DEREF2  = 0x05,
  OP_DEREF4  = 0x06,
  OP_ADD     = 0x07,
};
