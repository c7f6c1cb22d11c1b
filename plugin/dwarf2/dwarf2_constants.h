// Codes of DWARF 2 that the reader knows, in the published spelling.
#pragma once

#include <cstdint>

// clang-format off
enum DwarfForm : uint32_t {
  DW_FORM_addr      = 0x01,  // addressSize bytes; 0x02 is unassigned
  DW_FORM_block2    = 0x03,  // 2-byte length, then that many bytes
  DW_FORM_block4    = 0x04,  // 4-byte length, then that many bytes
  DW_FORM_data2     = 0x05,
  DW_FORM_data4     = 0x06,
  DW_FORM_data8     = 0x07,
  DW_FORM_string    = 0x08,  // bytes through the terminating NUL
  DW_FORM_block     = 0x09,  // ULEB128 length, then that many bytes
  DW_FORM_block1    = 0x0A,  // 1-byte length, then that many bytes
  DW_FORM_data1     = 0x0B,
  DW_FORM_flag      = 0x0C,  // 1 byte
  DW_FORM_sdata     = 0x0D,  // SLEB128
  DW_FORM_strp      = 0x0E,  // 4-byte offset in .debug_str
  DW_FORM_udata     = 0x0F,  // ULEB128
  DW_FORM_ref_addr  = 0x10,  // addressSize bytes, offset in .debug_info
  DW_FORM_ref1      = 0x11,  // offsets from the unit header from here on
  DW_FORM_ref2      = 0x12,
  DW_FORM_ref4      = 0x13,
  DW_FORM_ref8      = 0x14,
  DW_FORM_ref_udata = 0x15,
  DW_FORM_indirect  = 0x16,  // ULEB128 form code, then a value of that form

  // Since DWARF 4.
  DW_FORM_sec_offset   = 0x17,  // offset in another section
  DW_FORM_exprloc      = 0x18,  // ULEB128 length, then that many bytes of an expression
  DW_FORM_flag_present = 0x19,  // no bytes
  DW_FORM_ref_sig8     = 0x20,  // 8 bytes: the signature of a type unit

  // Since DWARF 5.
  DW_FORM_strx           = 0x1A,  // ULEB128 index in .debug_str_offsets
  DW_FORM_addrx          = 0x1B,  // ULEB128 index in .debug_addr
  DW_FORM_ref_sup4       = 0x1C,  // offsets in the supplementary file
  DW_FORM_strp_sup       = 0x1D,
  DW_FORM_data16         = 0x1E,
  DW_FORM_line_strp      = 0x1F,  // offset in .debug_line_str
  DW_FORM_implicit_const = 0x21,  // no bytes: the value is in the abbreviation
  DW_FORM_loclistx       = 0x22,  // ULEB128 index in .debug_loclists
  DW_FORM_rnglistx       = 0x23,  // ULEB128 index in .debug_rnglists
  DW_FORM_ref_sup8       = 0x24,
  DW_FORM_strx1          = 0x25,  // indexes of 1 to 4 bytes
  DW_FORM_strx2          = 0x26,
  DW_FORM_strx3          = 0x27,
  DW_FORM_strx4          = 0x28,
  DW_FORM_addrx1         = 0x29,
  DW_FORM_addrx2         = 0x2A,
  DW_FORM_addrx3         = 0x2B,
  DW_FORM_addrx4         = 0x2C,

  // Of GNU tools, before DWARF 5.
  DW_FORM_GNU_addr_index = 0x1F01,
  DW_FORM_GNU_str_index  = 0x1F02,
  DW_FORM_GNU_ref_alt    = 0x1F20,  // offsets in the file that .gnu_debugaltlink names
  DW_FORM_GNU_strp_alt   = 0x1F21,
};

enum DwarfTag : uint32_t {
  DW_TAG_array_type             = 0x01,
  DW_TAG_class_type             = 0x02,
  DW_TAG_enumeration_type       = 0x04,
  DW_TAG_formal_parameter       = 0x05,
  DW_TAG_label                  = 0x0A,
  DW_TAG_member                 = 0x0D,
  DW_TAG_pointer_type           = 0x0F,
  DW_TAG_reference_type         = 0x10,
  DW_TAG_compile_unit           = 0x11,
  DW_TAG_structure_type         = 0x13,
  DW_TAG_subroutine_type        = 0x15,
  DW_TAG_typedef                = 0x16,
  DW_TAG_union_type             = 0x17,
  DW_TAG_unspecified_parameters = 0x18,
  DW_TAG_inheritance            = 0x1C,
  DW_TAG_subrange_type          = 0x21,
  DW_TAG_base_type              = 0x24,
  DW_TAG_const_type             = 0x26,
  DW_TAG_enumerator             = 0x28,
  DW_TAG_subprogram             = 0x2E,
  DW_TAG_variable               = 0x34,
  DW_TAG_volatile_type          = 0x35,

  DW_TAG_imported_declaration   = 0x08,
  DW_TAG_lexical_block          = 0x0B,
  DW_TAG_string_type            = 0x12,
  DW_TAG_variant                = 0x19,
  DW_TAG_common_block           = 0x1A,
  DW_TAG_inlined_subroutine     = 0x1D,
  DW_TAG_module                 = 0x1E,
  DW_TAG_ptr_to_member_type     = 0x1F,
  DW_TAG_set_type               = 0x20,
  DW_TAG_with_stmt              = 0x22,
  DW_TAG_catch_block            = 0x25,
  DW_TAG_constant               = 0x27,
  DW_TAG_file_type              = 0x29,
  DW_TAG_packed_type            = 0x2D,
  DW_TAG_thrown_type            = 0x31,
  DW_TAG_try_block              = 0x32,
  DW_TAG_variant_part           = 0x33,
  DW_TAG_restrict_type          = 0x37,  // since DWARF 3 from here on
  DW_TAG_interface_type         = 0x38,
  DW_TAG_namespace              = 0x39,
  DW_TAG_imported_module        = 0x3A,
  DW_TAG_unspecified_type       = 0x3B,
  DW_TAG_partial_unit           = 0x3C,
  DW_TAG_imported_unit          = 0x3D,
  DW_TAG_shared_type            = 0x40,
  DW_TAG_type_unit              = 0x41,  // since DWARF 4 from here on
  DW_TAG_rvalue_reference_type  = 0x42,
  DW_TAG_template_alias         = 0x43,
  DW_TAG_coarray_type           = 0x44,  // since DWARF 5 from here on
  DW_TAG_generic_subrange       = 0x45,
  DW_TAG_dynamic_type           = 0x46,
  DW_TAG_atomic_type            = 0x47,
  DW_TAG_skeleton_unit          = 0x4A,
  DW_TAG_immutable_type         = 0x4B,
  DW_TAG_GNU_formal_parameter_pack = 0x4108,

  TAG_MISSING_ABBREVIATION      = 0x36,    // one above the last tag of DWARF 2
  TAG_VENDOR_CODE_MARK          = 0x6871,  // vendor: marks an address inside a procedure
};

enum DwarfAttribute : uint32_t {
  DW_AT_location             = 0x02,
  DW_AT_name                 = 0x03,
  DW_AT_byte_size            = 0x0B,
  DW_AT_bit_offset           = 0x0C,
  DW_AT_bit_size             = 0x0D,
  DW_AT_stmt_list            = 0x10,
  DW_AT_import               = 0x18,
  DW_AT_low_pc               = 0x11,
  DW_AT_high_pc              = 0x12,
  DW_AT_language             = 0x13,
  DW_AT_comp_dir             = 0x1B,
  DW_AT_const_value          = 0x1C,
  DW_AT_lower_bound          = 0x22,
  DW_AT_producer             = 0x25,
  DW_AT_prototyped           = 0x27,
  DW_AT_return_addr          = 0x2A,
  DW_AT_stride_size          = 0x2E,
  DW_AT_upper_bound          = 0x2F,
  DW_AT_address_class        = 0x33,
  DW_AT_calling_convention   = 0x36,
  DW_AT_data_member_location = 0x38,
  DW_AT_encoding             = 0x3E,
  DW_AT_frame_base           = 0x40,
  DW_AT_segment              = 0x46,
  DW_AT_specification        = 0x47,
  DW_AT_type                 = 0x49,

  DW_AT_string_length        = 0x19,
  DW_AT_inline               = 0x20,
  DW_AT_abstract_origin      = 0x31,
  DW_AT_count                = 0x37,
  DW_AT_declaration          = 0x3C,
  DW_AT_external             = 0x3F,
  DW_AT_byte_stride          = 0x51,  // since DWARF 3 from here on
  DW_AT_entry_pc             = 0x52,
  DW_AT_extension            = 0x54,
  DW_AT_ranges               = 0x55,
  DW_AT_call_column          = 0x57,
  DW_AT_call_file            = 0x58,
  DW_AT_call_line            = 0x59,
  DW_AT_signature            = 0x69,  // since DWARF 4 from here on
  DW_AT_data_bit_offset      = 0x6B,
  DW_AT_enum_class           = 0x6D,
  DW_AT_linkage_name         = 0x6E,
  DW_AT_string_length_byte_size = 0x70,  // since DWARF 5 from here on
  DW_AT_str_offsets_base     = 0x72,
  DW_AT_addr_base            = 0x73,
  DW_AT_rnglists_base        = 0x74,
  DW_AT_dwo_name             = 0x76,
  DW_AT_loclists_base        = 0x8C,
  DW_AT_MIPS_linkage_name    = 0x2007,
  DW_AT_GNU_dwo_name         = 0x2130,
  DW_AT_GNU_dwo_id           = 0x2131,
  DW_AT_GNU_ranges_base      = 0x2132,
  DW_AT_GNU_addr_base        = 0x2133,
};

enum DwarfUnitType : uint8_t {
  DW_UT_compile  = 1,
  DW_UT_type     = 2,
  DW_UT_partial  = 3,
  DW_UT_skeleton = 4,  // 5 and 6 are of split files
};

enum DwarfChildren : uint8_t { DW_CHILDREN_no = 0, DW_CHILDREN_yes = 1 };

enum DwarfEncoding : uint32_t {
  DW_ATE_address       = 1,
  DW_ATE_boolean       = 2,
  DW_ATE_complex_float = 3,
  DW_ATE_float         = 4,
  DW_ATE_signed        = 5,
  DW_ATE_signed_char   = 6,
  DW_ATE_unsigned      = 7,
  DW_ATE_unsigned_char = 8,

  // Since DWARF 3 to 5.
  DW_ATE_imaginary_float = 0x09,
  DW_ATE_packed_decimal  = 0x0A,
  DW_ATE_numeric_string  = 0x0B,
  DW_ATE_edited          = 0x0C,
  DW_ATE_signed_fixed    = 0x0D,
  DW_ATE_unsigned_fixed  = 0x0E,
  DW_ATE_decimal_float   = 0x0F,
  DW_ATE_UTF             = 0x10,
  DW_ATE_UCS             = 0x11,
  DW_ATE_ASCII           = 0x12,

  // Of vendors.
  DW_ATE_HP_float80            = 0x80,
  DW_ATE_HP_complex_float80    = 0x81,
  DW_ATE_HP_float128           = 0x82,
  DW_ATE_HP_complex_float128   = 0x83,
  DW_ATE_HP_floathpintel       = 0x84,
  DW_ATE_HP_imaginary_float80  = 0x85,
  DW_ATE_HP_imaginary_float128 = 0x86,
};

enum DwarfCallingConvention : uint32_t {
  DW_CC_normal  = 1,
  DW_CC_program = 2,
  DW_CC_nocall  = 3,
  DW_CC_lo_user = 0x40,  // a vendor's code here
};

enum DwarfLineStandardOpcode : uint8_t {
  DW_LNS_copy             = 1,
  DW_LNS_advance_pc       = 2,
  DW_LNS_advance_line     = 3,
  DW_LNS_set_file         = 4,
  DW_LNS_set_column       = 5,
  DW_LNS_negate_stmt      = 6,
  DW_LNS_set_basic_block  = 7,
  DW_LNS_const_add_pc     = 8,
  DW_LNS_fixed_advance_pc = 9,
};

enum DwarfLineExtendedOpcode : uint8_t {
  DW_LNE_end_sequence = 1,
  DW_LNE_set_address  = 2,
  DW_LNE_define_file  = 3,
};

enum DwarfLineContent : uint32_t {
  DW_LNCT_path            = 1,
  DW_LNCT_directory_index = 2,
};

// The operations that a reader looks at.
enum DwarfOperation : uint8_t {
  DW_OP_addr           = 0x03,
  DW_OP_const4u        = 0x0C,
  DW_OP_plus_uconst    = 0x23,
  DW_OP_implicit_value = 0x9E,
  DW_OP_addrx          = 0xA1,
  DW_OP_GNU_addr_index = 0xFB,
};

enum DwarfRangeListEntry : uint8_t {
  DW_RLE_end_of_list   = 0,
  DW_RLE_base_addressx = 1,
  DW_RLE_startx_endx   = 2,
  DW_RLE_startx_length = 3,
  DW_RLE_offset_pair   = 4,
  DW_RLE_base_address  = 5,
  DW_RLE_start_end     = 6,
  DW_RLE_start_length  = 7,
};

enum DwarfLocationListEntry : uint8_t {
  DW_LLE_end_of_list      = 0,
  DW_LLE_base_addressx    = 1,
  DW_LLE_startx_endx      = 2,
  DW_LLE_startx_length    = 3,
  DW_LLE_offset_pair      = 4,
  DW_LLE_default_location = 5,
  DW_LLE_base_address     = 6,
  DW_LLE_start_end        = 7,
  DW_LLE_start_length     = 8,
  DW_LLE_GNU_view_pair    = 9,
};
// clang-format on
