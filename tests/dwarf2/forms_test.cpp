// Forms and LEB128 numbers: value, bytes consumed and failure of every reader.
#include "dwarf2/forms.h"

#include <gtest/gtest.h>

#include "dwarf/leb128.h"
#include "support/dwarf2_builder.h"

namespace {

constexpr uint8_t MARK = 0xA5;  // after every value

// Reads at the start of a section that is the whole file, with a mark after the value.
class Reader {
 public:
  explicit Reader(const Chunk& section, ByteOrder order = ByteOrder::big) : bytes_(section.In(order)) {
    bytes_.push_back(MARK);
    source_ = ByteSource::FromMemory(bytes_.data(), bytes_.size());
    cursor.Use(source_.get(), order == ByteOrder::little);
    cursor.Seek({".debug_info", 0, static_cast<uint32_t>(bytes_.size()), true}, 0);
  }

  Failure failure;
  Allowance allowance;
  Cursor cursor{&failure, &allowance};

 private:
  RawBytes bytes_;
  std::unique_ptr<ByteSource> source_;
};

#define EXPECT_READ(reader, value, expected, consumed, fails, what)                 \
  do {                                                                              \
    EXPECT_EQ(value, expected) << (what);                                           \
    EXPECT_EQ((reader).cursor.Offset(), static_cast<uint32_t>(consumed)) << (what); \
    EXPECT_EQ(static_cast<bool>((reader).failure), (fails)) << (what);              \
    EXPECT_EQ((reader).cursor.U8(), MARK) << (what);                                \
  } while (false)

TEST(Leb128, Facts) {
  const RawBytes eleven(11, 0x80);
  const RawBytes twelve(12, 0x80);
  const struct {
    const char* what;
    Bytes bytes;
    uint32_t uleb;
    int32_t sleb;
    uint32_t consumed;
  } facts[] = {
      {"0", Bytes().u8(0), 0, 0, 1},
      {"largest of one byte", Bytes().u8(0x7F), 127, -1, 1},
      {"bit 6 is the sign", Bytes().u8(0x3F), 63, 63, 1},
      {"low group first", Bytes().raw({0x80, 0x01}), 128, 128, 2},
      {"sign from the second byte", Bytes().raw({0x80, 0x7F}), 0x3F80, -128, 2},
      {"padded", Bytes().raw({0x81, 0x80, 0x80, 0x00}), 1, 1, 4},
      {"four bytes are still extended", Bytes().raw({0x80, 0x80, 0x80, 0x40}), 0x08000000, -0x08000000, 4},
      {"32 bits", Bytes().raw({0xFF, 0xFF, 0xFF, 0xFF, 0x0F}), 0xFFFFFFFF, -1, 5},
      {"five bytes are not extended", Bytes().raw({0x80, 0x80, 0x80, 0x80, 0x40}), 0, 0, 5},
      {"plain bits of the fifth byte", Bytes().raw({0xFF, 0xFF, 0xFF, 0xFF, 0x7F}), 0xFFFFFFFF, -1, 5},
      {"groups past bit 31 wrap round", Bytes().raw({0x80, 0x80, 0x80, 0x80, 0x80, 0x01}), 8, 8, 6},
      {"twelfth byte ends it", Bytes().raw(eleven).u8(1), 0x2000, 0, 12},
      {"twelfth byte does not end it", Bytes().raw(twelve), 0, 0, 12},
      {"2^63", Bytes().uleb(uint64_t{1} << 63), uint32_t{1} << 31, INT32_MIN, 10},
  };
  for (const auto& fact : facts) {
    Reader unsignedReader(fact.bytes);
    EXPECT_READ(unsignedReader, ReadUleb(&unsignedReader.cursor), fact.uleb, fact.consumed, false, fact.what);
    Reader signedReader(fact.bytes);
    EXPECT_READ(signedReader, ReadSleb(&signedReader.cursor), fact.sleb, fact.consumed, false, fact.what);
    for (const uint32_t form : {DW_FORM_udata, DW_FORM_sdata, DW_FORM_ref_udata}) {
      Reader skipper(fact.bytes);
      SkipForm(&skipper.cursor, form, 4);
      EXPECT_READ(skipper, 0, 0, fact.consumed, false, fact.what);
    }
  }
}

TEST(Leb128, AFailureStopsUnsignedNumbersOnlyAndTheEndOfTheFileBoth) {
  Reader reader(Bytes().raw({0x83, 0x00}));
  reader.cursor.Fail("on purpose");
  EXPECT_EQ(ReadUleb(&reader.cursor), 0u);
  EXPECT_READ(reader, ReadSleb(&reader.cursor), 3, 2, true, "signed");
  reader.failure.Clear();
  reader.cursor.Seek(0x10000000);
  EXPECT_EQ(ReadUleb(&reader.cursor), 0u);
  EXPECT_EQ(ReadSleb(&reader.cursor), 0);
  EXPECT_EQ(reader.cursor.Offset(), 0x10000018u);
  EXPECT_FALSE(reader.failure);
}

TEST(Forms, AddressesAreWidenedWithZeros) {
  const struct {
    uint8_t size;
    uint32_t little, big;
  } facts[] = {{0, 0, 0},
               {1, 0x92, 0x92},
               {2, 0x3492, 0x9234},
               {3, 0x563492, 0x923456},
               {4, 0x78563492, 0x92345678},
               {6, 0x7856349A, 0x56781824}};  // groups wrap round; high bits fall off
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const RawBytes bytes = {0x92, 0x34, 0x56, 0x78, 0x18, 0x24};
      Reader reader(Bytes().raw(RawBytes(bytes.begin(), bytes.begin() + fact.size)), order);
      const uint32_t expected = order == ByteOrder::little ? fact.little : fact.big;
      EXPECT_READ(reader, ReadAddressForm(&reader.cursor, DW_FORM_addr, fact.size), expected, fact.size, false,
                  int{fact.size});
    }
  }
  Reader other(Bytes().u16(0x1234));
  EXPECT_READ(other, ReadAddressForm(&other.cursor, DW_FORM_data2, 4), 0u, 2, false, "another form is passed over");
}

// Every form through every typed reader and the skip: 0 where a form is not the reader's, and whether that fails.
TEST(Forms, ValuesBytesAndLatch) {
  const Bytes word = Bytes().u32(0x81828384);
  const struct {
    uint32_t form;
    Bytes bytes;
    int64_t constant, reference;  // -1: refused
  } facts[] = {
      {DW_FORM_addr, Bytes().u32(5), -1, -1},
      {DW_FORM_block1, Bytes().u8(2).u16(0), -1, -1},
      {DW_FORM_block2, Bytes().u16(2).u16(0), -1, -1},
      {DW_FORM_block4, Bytes().u32(2).u16(0), -1, -1},
      {DW_FORM_block, Bytes().uleb(200).pad(200), -1, -1},
      {DW_FORM_data1, Bytes().u8(0x81), 0x81, -1},
      {DW_FORM_data2, Bytes().u16(0x8182), 0x8182, -1},
      {DW_FORM_data4, word, 0x81828384, -1},
      {DW_FORM_data8, Bytes().u64(0x1122334481828384), 0x81828384, -1},
      {DW_FORM_string, Bytes().text("ab"), -1, -1},
      {DW_FORM_flag, Bytes().u8(1), -1, -1},
      {DW_FORM_sdata, Bytes().sleb(-2), 0xFFFFFFFE, -1},
      {DW_FORM_strp, word, -1, -1},
      {DW_FORM_udata, Bytes().uleb(0x12345), 0x12345, -1},
      {DW_FORM_ref_addr, Bytes().u32(0x20), -1, 0x20},
      {DW_FORM_ref1, Bytes().u8(0x20), -1, 0x320},
      {DW_FORM_ref2, Bytes().u16(0x2020), -1, 0x2320},
      {DW_FORM_ref4, Bytes().u32(0xFFFFFFFF), -1, 0x2FF},
      {DW_FORM_ref8, Bytes().u64(0x1100000020), -1, 0x320},
      {DW_FORM_ref_udata, Bytes().uleb(0x2020), -1, 0x2320},
      {DW_FORM_indirect, Bytes().uleb(DW_FORM_data2).u16(7), -1, -1},
      {DW_FORM_indirect, Bytes().uleb(DW_FORM_indirect).uleb(DW_FORM_ref4).u32(7), -1, -1},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const auto read = [&](auto reader, int64_t expected) {
        Reader input(fact.bytes, order);
        const uint32_t value = reader(input.cursor);
        const bool refused = expected < 0;
        EXPECT_READ(input, value, refused ? 0 : static_cast<uint32_t>(expected), fact.bytes.size(), refused, fact.form);
      };
      read([&](Cursor& input) { return ReadConstantForm(&input, fact.form, 4); }, fact.constant);
      read([&](Cursor& input) { return ReadReferenceForm(&input, fact.form, {4, 0x300}); }, fact.reference);
      read([&](Cursor& input) { return SkipForm(&input, fact.form, 4), 0u; }, 0);
    }
  }
  for (const uint32_t form : {0x00U, 0x02U, 0x17U, 0x1FU, 0x7FFFFFFFU}) {
    Reader direct((Bytes()));
    SkipForm(&direct.cursor, form, 4);
    EXPECT_READ(direct, 0, 0, 0, true, form);
    const Bytes code = Bytes().uleb(form);
    Reader indirect(code);
    SkipForm(&indirect.cursor, DW_FORM_indirect, 4);
    EXPECT_READ(indirect, 0, 0, code.size(), true, form);
  }
  Reader endless(Bytes().pad(5000000, DW_FORM_indirect));
  SkipForm(&endless.cursor, DW_FORM_indirect, 4);  // which does not exhaust the stack
  EXPECT_TRUE(endless.failure);
}

TEST(Forms, TextsEndWithTheirNulAndFlagsCountInTheirFormOnly) {
  for (const uint32_t length : {0u, 1u, 4095u, 40000u}) {
    Reader reader(Bytes().text(std::string(length, 'x')));
    SkipText(&reader.cursor);
    EXPECT_READ(reader, 0, 0, length + 1, false, length);
  }
  Reader endless(Bytes().pad(10000, 'x'));
  SkipText(&endless.cursor);
  EXPECT_STREQ(endless.failure.Text(), "a text without end");
  for (const auto& [form, value] : {std::pair{DW_FORM_flag, 1u}, {DW_FORM_data1, 0u}}) {
    Reader reader(Bytes().u8(7));
    EXPECT_READ(reader, ReadFlagForm(&reader.cursor, form, 4), value, 1, false, form);
  }
  Reader backwards(Bytes().u32(0x80000000));
  SkipForm(&backwards.cursor, DW_FORM_block4, 4);
  EXPECT_READ(backwards, 0, 0, 4, true, "a block of 2 GiB");
}

}  // namespace
