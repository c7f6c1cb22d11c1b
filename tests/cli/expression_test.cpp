#include "session/expression.h"

#include <gtest/gtest.h>

#include <vector>

#include "records/debug_records.h"

namespace elfload {
namespace {

constexpr ExpressionFormat dwarf2{.dwarf1 = false, .addressSize = 4, .littleEndian = false};
constexpr ExpressionFormat dwarf2Short{.dwarf1 = false, .addressSize = 2, .littleEndian = true};
constexpr ExpressionFormat published{.dwarf1 = false, .addressSize = 4, .littleEndian = true, .published = true};
constexpr ExpressionFormat dwarf1{.dwarf1 = true, .addressSize = 4, .littleEndian = false};

struct ExpressionFact {
  const char* what;
  ExpressionFormat format;
  std::vector<uint8_t> bytes;  // as a reader stores them, without the zeros after them
  size_t length;
  const char* text;
};

const ExpressionFact expressionFacts[] = {
    // clang-format off
    {"static address", dwarf2, {0x03, 0x40, 0, 0, 0}, 5, "DW_OP_addr 0x40000000"},
    {"address of the unit's size", dwarf2Short, {0x03, 0x34, 0x12, 0x96}, 4, "DW_OP_addr 0x1234; DW_OP_nop"},
    {"operand bytes 0 do not end it", dwarf2, {0x03, 0, 0, 0, 0, 0x06}, 6, "DW_OP_addr 0x00000000; DW_OP_deref"},
    {"byte 0 as operation ends it", dwarf2, {0x12, 0x00, 0x13}, 1, "DW_OP_dup"},
    {"SLEB128 of two bytes", dwarf2, {0x8F, 0xFF, 0x7E}, 3, "DW_OP_breg31 -129"},
    {"ULEB128 then SLEB128", dwarf2, {0x92, 0x81, 0x01, 0x7F, 0x93, 0x04}, 6, "DW_OP_bregx 129 -1; DW_OP_piece 4"},
    {"a LEB128 longer than a word", dwarf2, {0x10, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F},
     12, "DW_OP_constu 18446744073709551615"},
    {"ranges of codes", dwarf2, {0x30, 0x4F, 0x50, 0x6F}, 4, "DW_OP_lit0; DW_OP_lit31; DW_OP_reg0; DW_OP_reg31"},
    {"signed operands", dwarf2, {0x09, 0xFE, 0x0B, 0xFF, 0xFD, 0x0D, 0xFF, 0xFF, 0xFF, 0xFC}, 10,
     "DW_OP_const1s -2; DW_OP_const2s -3; DW_OP_const4s -4"},
    {"8 bytes, unsigned and signed", dwarf2,
     {0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 18,
     "DW_OP_const8u 4294967296; DW_OP_const8s -1"},
    {"jumps", dwarf2, {0x28, 0x00, 0x02, 0x2F, 0xFF, 0xFB, 0x15, 0x01, 0x94, 0x02, 0x95, 0x01}, 12,
     "DW_OP_bra 2; DW_OP_skip -5; DW_OP_pick 1; DW_OP_deref_size 2; DW_OP_xderef_size 1"},
    {"later editions", dwarf2, {0x97, 0x98, 0, 1, 0x99, 0, 0, 0, 2, 0x9A, 0, 0, 0, 3, 0x9B, 0x9C, 0x9D, 8, 0x80, 1,
     0x9F},
     21, "DW_OP_push_object_address; DW_OP_call2 1; DW_OP_call4 2; DW_OP_call_ref 3; DW_OP_form_tls_address; "
         "DW_OP_call_frame_cfa; DW_OP_bit_piece 8 128; DW_OP_stack_value"},
    {"an unknown operation ends it", dwarf2, {0x50, 0x9E, 0x01, 0x96}, 1, "DW_OP_reg0; (0x9E...)"},
    {"0xF2 is none", dwarf2, {0x96, 0xF2, 0x01}, 1, "DW_OP_nop; (0xF2...)"},
    {"values", published, {0x9E, 2, 0x34, 0x12, 0x9E, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x9F}, 16,
     "DW_OP_implicit_value 0x1234; DW_OP_implicit_value {01 02 03 04 05 06 07 08 09}; DW_OP_stack_value"},
    {"expressions in expressions", published, {0xA3, 5, 0xF3, 1, 0x50, 0x91, 0x04, 0x96}, 8,
     "DW_OP_entry_value (DW_OP_GNU_entry_value (DW_OP_reg0); DW_OP_fbreg 4); DW_OP_nop"},
    {"an operand that runs past the inner expression", published, {0xA3, 2, 0x23, 0x80, 0x01, 0x96}, 4,
     "DW_OP_entry_value ((0x23...)); (0x01...)"},
    {"types", published,
     {0xA4, 0x80, 1, 4, 1, 0, 0, 0, 0xA5, 3, 0x2D, 0xA6, 2, 0x2D, 0xA7, 2, 0x2D, 0xA8, 0, 0xA9, 0x2D, 0xF4, 1, 1, 9, 0xF5,
      3, 1, 0xF6, 2, 1, 0xF7, 1, 0xF9, 1}, 35,
     "DW_OP_const_type <0x80> 0x00000001; DW_OP_regval_type 3 <0x2D>; DW_OP_deref_type 2 <0x2D>; "
     "DW_OP_xderef_type 2 <0x2D>; DW_OP_convert <0x0>; DW_OP_reinterpret <0x2D>; DW_OP_GNU_const_type <0x1> 0x09; "
     "DW_OP_GNU_regval_type 3 <0x1>; DW_OP_GNU_deref_type 2 <0x1>; DW_OP_GNU_convert <0x1>; "
     "DW_OP_GNU_reinterpret <0x1>"},
    {"entries and indexes", published,
     {0xA0, 4, 3, 2, 1, 0x7F, 0xF2, 0, 0, 0, 0, 0, 0xA1, 1, 0xA2, 2, 0xE0, 0xF0, 0xFA, 1, 0, 0, 0, 0xFB, 1, 0xFC, 2, 0xFD,
      1, 0, 0, 0}, 32,
     "DW_OP_implicit_pointer <0x1020304> -1; DW_OP_GNU_implicit_pointer <0x0> 0; DW_OP_addrx 1; DW_OP_constx 2; "
     "DW_OP_GNU_push_tls_address; DW_OP_GNU_uninit; DW_OP_GNU_parameter_ref <0x1>; DW_OP_GNU_addr_index 1; "
     "DW_OP_GNU_const_index 2; DW_OP_GNU_variable_value <0x1>"},
    {"encoded addresses", published, {0xF1, 0x1B, 0xFF, 0xFF, 0xFF, 0xFF, 0xF1, 0xFF, 0xF1, 0x00, 1, 0, 0, 0, 0x96}, 15,
     "DW_OP_GNU_encoded_addr 0x1B -1; DW_OP_GNU_encoded_addr 0xFF; DW_OP_GNU_encoded_addr 0x00 0x00000001; DW_OP_nop"},
    {"codes that nobody has published", published, {0x96, 0xF8, 0x01}, 1, "DW_OP_nop; (0xF8...)"},
    {"cut short: an address", dwarf2, {0x03, 0x12, 0x34}, 5, "DW_OP_addr 0x12340000"},
    {"cut short: 8 bytes", dwarf2, {0x0E}, 9, "DW_OP_const8u 0"},
    {"cut short: both operands", dwarf2, {0x92}, 3, "DW_OP_bregx 0 0"},
    {"DWARF 1", dwarf1, {0x02, 0, 0, 0, 1, 0x04, 0xFF, 0xFF, 0xFF, 0xF8, 0x07, 0x05, 0x06}, 13,
     "OP_BASEREG 1; OP_CONST -8; OP_ADD; OP_DEREF2; OP_DEREF4"},
    {"DWARF 1 has no operation 8", dwarf1, {0x01, 0, 0, 0, 3, 0x08}, 5, "OP_REG 3; (0x08...)"},
    {"DWARF 1 address", dwarf1, {0x03, 0, 0, 0x12}, 5, "OP_ADDR 0x00001200"},
    // clang-format on
};

// The bytes as a reader stores them: with zeros after them, in memory that ends there.
std::vector<uint8_t> Stored(std::vector<uint8_t> bytes) {
  bytes.resize(bytes.size() + EXPRESSION_PADDING);
  bytes.shrink_to_fit();
  return bytes;
}

TEST(Expression, LengthAndText) {
  for (const ExpressionFact& fact : expressionFacts) {
    const std::vector<uint8_t> stored = Stored(fact.bytes);
    EXPECT_EQ(ExpressionLength(stored.data(), fact.format), fact.length) << fact.what;
    EXPECT_EQ(ExpressionText(stored.data(), fact.format), fact.text) << fact.what;
  }
  EXPECT_EQ(ExpressionLength(nullptr, dwarf2), 0u);
}

TEST(Expression, OperandsThatRunPastBytesOfKnownLengthEndIt) {
  const struct {
    std::vector<uint8_t> bytes;
    const char* text;
  } facts[] = {
      {{}, "(empty)"},
      {{0x96, 0x9E, 2, 1}, "DW_OP_nop; (0x9E...)"},
      {{0x9E}, "(0x9E...)"},
      {{0x9E, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}, "(0x9E...)"},
      {{0xA3, 3, 0x9E, 2, 1}, "DW_OP_entry_value ((0x9E...))"},
      {{0xF1, 0x01, 0x80}, "(0xF1...)"},
      {{0x92, 0x05}, "(0x92...)"},
      {{0xA3, 10, 0xA3, 8, 0xA3, 6, 0xA3, 4, 0xA3, 2, 0xA3, 0},
       "DW_OP_entry_value (DW_OP_entry_value (DW_OP_entry_value (DW_OP_entry_value (DW_OP_entry_value (...)))))"},
  };
  for (const auto& fact : facts) {
    EXPECT_EQ(ExpressionText(Stored(fact.bytes).data(), fact.bytes.size(), published), fact.text);
  }
}

TEST(Expression, AddressSizesThatNoCopyIsPaddedForEndIt) {
  const std::vector<uint8_t> stored = Stored({0x96, 0x03});
  ExpressionFormat format = dwarf2;
  format.addressSize = 8;
  EXPECT_EQ(ExpressionLength(stored.data(), format), 10u);
  format.addressSize = 9;
  EXPECT_EQ(ExpressionLength(stored.data(), format), 1u);
}

TEST(Expression, OffsetsAndAddressesByThemselves) {
  uint32_t value = 0;
  EXPECT_TRUE(ConstantOffset(Stored({0x23, 0x88, 0x01}).data(), dwarf2, value));
  EXPECT_EQ(value, 136u);
  EXPECT_TRUE(ConstantOffset(Stored({0x04, 0, 0, 0, 12, 0x07}).data(), dwarf1, value));
  EXPECT_EQ(value, 12u);
  EXPECT_FALSE(ConstantOffset(Stored({0x23, 0x04, 0x06}).data(), dwarf2, value));
  EXPECT_FALSE(ConstantOffset(Stored({0x91, 0x04}).data(), dwarf2, value));
  EXPECT_TRUE(StaticAddress(Stored({0x03, 0x34, 0x12}).data(), dwarf2Short, value));
  EXPECT_EQ(value, 0x1234u);
  EXPECT_FALSE(StaticAddress(Stored({0x03, 0x34, 0x12, 0x06}).data(), dwarf2Short, value));
}

}  // namespace
}  // namespace elfload
