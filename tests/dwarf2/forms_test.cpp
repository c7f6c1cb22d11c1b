// Forms: value, bytes consumed and latch of every reader.
#include "dwarf2/forms.h"

#include <gtest/gtest.h>

#include "records/empty_string.h"
#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"

namespace {

// Reads at the start of `.debug_info`; the state is fresh but for what a test sets.
class Reader {
 public:
  explicit Reader(const Chunk& info, ByteOrder order = ByteOrder::big, const Chunk& strings = {})
      : image(Write(info, order, strings)) {
    ClearFailure();
    dwarf2State.addressSize = 4;
    dwarf2State.unitBase = 0;
    LoadDwarf2Sections(image);
    SeekTo(image, dwarf2State.sections.info, 0);
  }
  ~Reader() { HEAP_Release(heap); }

  uint8_t NextByte() { return ReadU8(image); }

  OpenedImage image;
  mem_desc* heap = HEAP_Create(0, 0, 0);

 private:
  // `.debug_info` comes last, so that behind it there are only names and headers.
  static std::string Write(const Chunk& info, ByteOrder order, const Chunk& strings) {
    ElfFile file(order);
    if (strings.size() != 0) file.section(".debug_str", strings);
    return file.section(".debug_info", info).write();
  }
};

constexpr uint8_t MARK = 0xA5;  // stands behind every value

// One read: what it gave, what it consumed by the counter and in the stream, the latch.
#define EXPECT_READ(reader, value, expected, consumed, latch, what)             \
  do {                                                                          \
    EXPECT_EQ(value, expected) << (what);                                       \
    EXPECT_EQ(dwarf2State.position, static_cast<uint32_t>(consumed)) << (what); \
    EXPECT_EQ(dwarf2State.failed, static_cast<uint32_t>(latch)) << (what);      \
    EXPECT_EQ((reader).NextByte(), MARK) << (what);                             \
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
    Reader unsignedReader(Bytes(fact.bytes).u8(MARK));
    EXPECT_READ(unsignedReader, ReadUleb(unsignedReader.image), fact.uleb, fact.consumed, 0, fact.what);
    Reader signedReader(Bytes(fact.bytes).u8(MARK));
    EXPECT_READ(signedReader, ReadSleb(signedReader.image), fact.sleb, fact.consumed, 0, fact.what);
    for (const uint32_t form : {DW_FORM_udata, DW_FORM_sdata, DW_FORM_ref_udata}) {
      Reader skipper(Bytes(fact.bytes).u8(MARK));
      SkipForm(skipper.image, form);
      EXPECT_READ(skipper, 0, 0, fact.consumed, 0, fact.what);
    }
  }
}

TEST(Leb128, TheLatchStopsUnsignedNumbersOnlyAndTheEndOfTheFileBoth) {
  Reader reader(Bytes().u8(MARK).raw({0x83, 0x00}).u8(MARK));
  dwarf2State.failed = 1;
  EXPECT_READ(reader, ReadUleb(reader.image), 0u, 0, 1, "unsigned");
  EXPECT_READ(reader, ReadSleb(reader.image), 3, 3, 1, "signed");
  ClearFailure();
  SeekTo(reader.image, dwarf2State.sections.info, 0x10000000);
  EXPECT_EQ(ReadUleb(reader.image), 0u);
  EXPECT_EQ(ReadSleb(reader.image), 0);
  EXPECT_EQ(dwarf2State.position, 0x10000018u);
  EXPECT_EQ(dwarf2State.failed, 0u);
}

TEST(Forms, AddressesAreWidenedWithZeros) {
  const struct {
    uint32_t size, little, big;
  } facts[] = {{0, 0, 0},
               {1, 0x92, 0x92},
               {2, 0x3492, 0x9234},
               {3, 0x563492, 0x923456},
               {4, 0x78563492, 0x92345678},
               {0x102, 0x3492, 0x9234}};  // the low byte counts
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const RawBytes bytes = {0x92, 0x34, 0x56, 0x78};
      const uint32_t size = fact.size & 0xFF;
      Reader reader(Bytes().raw(RawBytes(bytes.begin(), bytes.begin() + size)).u8(MARK), order);
      const uint32_t expected = order == ByteOrder::little ? fact.little : fact.big;
      EXPECT_READ(reader, ReadAddressForm(reader.image, DW_FORM_addr, fact.size), expected, size, 0, fact.size);
    }
  }
  // Past 4 bytes: groups wrap round in a little-endian file, high bits fall off in a big-endian one.
  Reader little(Bytes().raw({1, 2, 3, 4, 0x10, 0}).u8(MARK), ByteOrder::little);
  EXPECT_READ(little, ReadAddressForm(little.image, DW_FORM_addr, 6), 0x04030211u, 6, 0, "little");
  Reader big(Bytes().raw({1, 2, 3, 4, 5, 6}).u8(MARK), ByteOrder::big);
  EXPECT_READ(big, ReadAddressForm(big.image, DW_FORM_addr, 6), 0x03040506u, 6, 0, "big");
  Reader other(Bytes().u16(0x1234).u8(MARK));
  EXPECT_READ(other, ReadAddressForm(other.image, DW_FORM_data2, 4), 0u, 2, 0, "another form is skipped");
}

// Every form through every typed reader and the skip: 0 where a form is not the reader's, and whether that latches.
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
        Reader input(Bytes(fact.bytes).u8(MARK), order);
        dwarf2State.unitBase = 0x300;
        const uint32_t value = reader(input);
        const bool refused = expected < 0;
        EXPECT_READ(input, value, refused ? 0 : static_cast<uint32_t>(expected), fact.bytes.size(), refused ? 1 : 0,
                    fact.form);
      };
      read([&](Reader& input) { return ReadConstantForm(input.image, fact.form); }, fact.constant);
      read([&](Reader& input) { return ReadReferenceForm(input.image, fact.form); }, fact.reference);
      read([&](Reader& input) { return SkipForm(input.image, fact.form), 0u; }, 0);
    }
  }
  for (const uint32_t form : {0x00U, 0x02U, 0x17U, 0x1FU, 0x7FFFFFFFU}) {
    Reader direct(Bytes().u8(MARK));
    SkipForm(direct.image, form);
    EXPECT_READ(direct, 0, 0, 0, 1, form);
    const Bytes code = Bytes().uleb(form);
    Reader indirect(Bytes(code).u8(MARK));
    SkipForm(indirect.image, DW_FORM_indirect);
    EXPECT_READ(indirect, 0, 0, code.size(), 1, form);
  }
  Reader endless(Bytes().pad(5000000, DW_FORM_indirect));
  SkipForm(endless.image, DW_FORM_indirect);  // which does not exhaust the stack
  EXPECT_EQ(dwarf2State.failed, 1u);
}

TEST(Strings, AreCopiedByTheLengthTheyHave) {
  for (const uint32_t length : {0u, 1u, 8u, 9u, 17u, 18u, 19u, 38u, 39u, 1000u, 40000u}) {
    std::string text(length, 'x');
    for (uint32_t i = 0; i < length; ++i) text[i] = static_cast<char>('a' + i % 23);
    Reader reader(Bytes().text(text).u8(MARK));
    const char* string = ReadStringForm(reader.image, DW_FORM_string, reader.heap, 1);
    EXPECT_READ(reader, std::string(string), text, length + 1, 0, length);
    EXPECT_NE(string, EmptyString()) << "an allocation of its own, the empty one too";
    Reader skipper(Bytes().text(text).u8(MARK));
    const size_t used = HEAP_BytesUsed(skipper.heap);
    EXPECT_EQ(ReadStringForm(skipper.image, DW_FORM_string, skipper.heap, 0), EmptyString());
    EXPECT_READ(skipper, HEAP_BytesUsed(skipper.heap), used, length + 1, 0, length);

    Reader indirect(Bytes().u32(3).u8(MARK), ByteOrder::big, Bytes().pad(3, 1).text(text));
    EXPECT_READ(indirect, std::string(ReadStringForm(indirect.image, DW_FORM_strp, indirect.heap, 1)), text, 4, 0,
                length);
  }
}

TEST(Strings, ThatCannotBeReadAreTheSharedEmptyOne) {
  Reader missing(Bytes().u32(0x10).u8(MARK));
  EXPECT_READ(missing, ReadStringForm(missing.image, DW_FORM_strp, missing.heap, 1), EmptyString(), 4, 1,
              "no .debug_str");
  Reader skipped(Bytes().u32(0x10).u8(MARK));
  EXPECT_READ(skipped, ReadStringForm(skipped.image, DW_FORM_strp, skipped.heap, 0), EmptyString(), 4, 0, "not kept");
  Reader other(Bytes().u32(0x10).u8(MARK));
  EXPECT_READ(other, ReadStringForm(other.image, DW_FORM_data4, other.heap, 1), EmptyString(), 4, 0, "another form");
  for (const uint32_t form : {DW_FORM_string, DW_FORM_strp}) {
    Reader hungry(form == DW_FORM_strp ? Bytes().u32(0) : Bytes().text("0123456789abcdef"), ByteOrder::big,
                  Bytes().text("0123456789abcdef"));
    HEAP_FailFrom(1);
    EXPECT_EQ(ReadStringForm(hungry.image, form, hungry.heap, 1), EmptyString());
    HEAP_FailFrom(0);
    EXPECT_EQ(dwarf2State.failed, 1u);
  }
  // A string that the end of the file cuts off ends there; the table of section headers behind it holds zeros, so
  // this one begins behind the file.
  for (const int keep : {0, 1}) {
    Reader endless(Bytes().u8(MARK));
    SeekTo(endless.image, dwarf2State.sections.info, 0x100000);
    ReadStringForm(endless.image, DW_FORM_string, endless.heap, keep);
    EXPECT_EQ(dwarf2State.failed, 1u);
    EXPECT_LT(HEAP_BytesUsed(endless.heap), 1000u);
  }
}

TEST(Blocks, AreCopiedWithAZeroBehindAndFlagsCountInTheirFormOnly) {
  for (const ByteOrder order : bothOrders) {
    const std::pair<uint32_t, Bytes> forms[] = {{DW_FORM_block1, Bytes().u8(3)},
                                                {DW_FORM_block2, Bytes().u16(3)},
                                                {DW_FORM_block4, Bytes().u32(3)},
                                                {DW_FORM_block, Bytes().uleb(3)}};
    for (const auto& [form, length] : forms) {
      const uint32_t consumed = length.size() + 3;
      Reader reader(Bytes(length).raw({3, 0, 0x90}).u8(MARK), order);
      const char* block = ReadBlockForm(reader.image, form, reader.heap, 1);
      ASSERT_NE(block, nullptr);
      EXPECT_READ(reader, std::string(block, 4), (std::string{3, 0, '\x90', 0}), consumed, 0, form);
      Reader skipper(Bytes(length).raw({3, 0, 0x90}).u8(MARK), order);
      EXPECT_READ(skipper, ReadBlockForm(skipper.image, form, skipper.heap, 0), EmptyString(), consumed, 0, form);
    }
  }
  Reader other(Bytes().u16(7).u8(MARK));
  EXPECT_READ(other, ReadBlockForm(other.image, DW_FORM_data2, other.heap, 1), nullptr, 2, 0, "another form");
  Reader hungry(Bytes().u8(2).u16(7).u8(MARK));
  HEAP_FailFrom(1);
  EXPECT_EQ(ReadBlockForm(hungry.image, DW_FORM_block1, hungry.heap, 1), nullptr);
  HEAP_FailFrom(0);
  EXPECT_EQ(dwarf2State.failed, 1u);
  for (const auto& [form, value] : {std::pair{DW_FORM_flag, 1u}, {DW_FORM_data1, 0u}}) {
    Reader reader(Bytes().u8(7).u8(MARK));
    EXPECT_READ(reader, ReadFlagForm(reader.image, form), value, 1, 0, form);
  }
  Reader unbacked(Bytes().u32(0x7FFFFFFF).u8(MARK));
  EXPECT_EQ(ReadBlockForm(unbacked.image, DW_FORM_block4, unbacked.heap, 1), nullptr);
  EXPECT_EQ(dwarf2State.failed, 1u);
  EXPECT_LT(HEAP_BytesUsed(unbacked.heap), 1000u) << "no memory for what the file does not hold";
}

}  // namespace
