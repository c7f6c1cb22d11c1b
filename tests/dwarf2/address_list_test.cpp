// Address ranges by DW_AT_ranges, in the two kinds of lists that there are, and what is left out of them.
#include "dwarf2/dwarf2_input.h"
#include "dwarf2/ranges.h"
#include "support/describe.h"

namespace {

class Lists : Dwarf2Input {
 public:
  explicit Lists(const ElfFile& file) : Dwarf2Input(file) {
    reader_.Use(image->file, littleEndian, &sections, &deadCode, &values);
  }

  // "8000-8004 ...", and what failed.
  std::string Read(const UnitForms& unit, const AttributeValue& value) {
    GrowingArray<AddressRange> ranges;
    failure.Clear();
    const bool isRead = reader_.Read(unit, value, &ranges);
    EXPECT_EQ(isRead, !failure);
    std::string text;
    for (const AddressRange& range : ranges) text += Hex(range.low) + "-" + Hex(range.high) + " ";
    return text + failure.Text();
  }

 private:
  RangeReader reader_{&failure, &allowance};
};

constexpr const char* PAST_END = "a list goes on past the end of its section";

// One pair of .debug_ranges after the other; the list ends with two zeros unless it is open.
TEST(AddressList, PairsOfAddresses) {
  using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;
  const struct {
    const char* what;
    uint32_t lowPc;
    Pairs pairs;
    const char* expected;
  } facts[] = {
      {"in file order", 0, {{0x8100, 0x8104}, {0x8000, 0x8004}}, "8100-8104 8000-8004 "},
      {"counted from the unit", 0x8000, {{4, 8}}, "8004-8008 "},
      {"a base", 0x8000, {{4, 8}, {0xFFFFFFFF, 0x8100}, {4, 8}}, "8004-8008 8104-8108 "},
      {"back to addresses",
       0,
       {{0xFFFFFFFF, 0x8100}, {0, 8}, {0xFFFFFFFF, 0}, {0x8200, 0x8204}},
       "8100-8108 8200-8204 "},
      {"empty, and backward", 0, {{0x8000, 0x8000}, {0x8008, 0x8004}, {0x8000, 0x8001}}, "8000-8001 "},
      {"marks", 0, {{0, 4}, {1, 5}, {0xFFFFFFFE, 0xFFFFFFFF}, {0x8000, 0x8004}}, "8000-8004 "},
      {"counted from a mark", 0, {{0xFFFFFFFF, 1}, {0, 4}, {4, 8}, {0xFFFFFFFF, 0x8000}, {4, 8}}, "8004-8008 "},
      {"a mark far from a segment", 0xFFFFFFFF, {{0x8001, 0x8004}}, ""},
      {"counted from 0, in no segment",
       0,
       {{4, 8}, {0x7FFF, 0x8004}, {0x8FFF, 0x9004}, {0x9000, 0x9004}},
       "8fff-9004 "},
      {"up to the last address",
       0x8000,
       {{0xFFFF0000, 0xFFFF0010}, {0x4000, 0xFFFFFFFF}},
       "ffff8000-ffff8010 c000-ffffffff "},
  };
  for (const auto& fact : facts) {
    Bytes open;
    for (const auto& [begin, end] : fact.pairs) open.u32(begin).u32(end);
    const Bytes closed = Bytes(open).u64(0);
    for (const ByteOrder order : bothOrders) {
      Lists lists(ElfFile(order).section(".debug_ranges", closed, Bytes(open)));
      for (uint16_t version = 2; version <= 4; ++version) {
        EXPECT_EQ(lists.Read(UnitOf(version, fact.lowPc), OffsetOf(0)), fact.expected) << fact.what;
      }
      EXPECT_EQ(lists.Read(UnitOf(4, fact.lowPc), OffsetOf(closed.size())), fact.expected + std::string(PAST_END))
          << fact.what;
    }
  }
  Lists small(ElfFile().section(".debug_ranges", Bytes().u16(0xFFFF).u16(0x8000).u16(4).u16(8).u32(0)));
  EXPECT_EQ(small.Read(UnitOf(2, 0, 2), OffsetOf(0)), "8004-8008 ") << "addresses of 2 bytes";
}

TEST(AddressList, EntriesByKind) {
  const auto section = Bytes().pad(8).u32(0x8000).u32(0x8100).u32(0).u32(0x8200);  // .debug_addr
  const struct {
    const char* what;
    uint32_t lowPc;
    Bytes entries;
    const char* expected;
  } facts[] = {
      {"offsets", 0x8000, Bytes().u8(DW_RLE_offset_pair).uleb(4).uleb(0x90), "8004-8090 "},
      {"bases", 0,
       Bytes()
           .u8(DW_RLE_base_addressx)
           .uleb(1)
           .u8(DW_RLE_offset_pair)
           .uleb(0)
           .uleb(4)
           .u8(DW_RLE_base_address)
           .u32(0x8400)
           .u8(DW_RLE_offset_pair)
           .uleb(0)
           .uleb(4),
       "8100-8104 8400-8404 "},
      {"indexes", 0, Bytes().u8(DW_RLE_startx_endx).uleb(1).uleb(3).u8(DW_RLE_startx_length).uleb(0).uleb(0x10),
       "8100-8200 8000-8010 "},
      {"addresses", 0, Bytes().u8(DW_RLE_start_end).u32(0x8000).u32(0x8004).u8(DW_RLE_start_length).u32(0x8100).uleb(3),
       "8000-8004 8100-8103 "},
      {"empty", 0x8000, Bytes().u8(DW_RLE_offset_pair).uleb(4).uleb(4).u8(DW_RLE_start_length).u32(0x8000).uleb(0), ""},
      {"the last address", 0, Bytes().u8(DW_RLE_start_length).u32(0xFFFFFF00).uleb(0x100), "ffffff00-ffffffff "},
      {"thrown away", 0,
       Bytes()
           .u8(DW_RLE_start_length)
           .u32(0)
           .uleb(8)
           .u8(DW_RLE_startx_length)
           .uleb(2)
           .uleb(8)
           .u8(DW_RLE_base_address)
           .u32(0)
           .u8(DW_RLE_offset_pair)
           .uleb(4)
           .uleb(8)
           .u8(DW_RLE_base_addressx)
           .uleb(2)
           .u8(DW_RLE_offset_pair)
           .uleb(4)
           .uleb(8)
           .u8(DW_RLE_base_address)
           .u32(0x8000)
           .u8(DW_RLE_offset_pair)
           .uleb(4)
           .uleb(8),
       "8004-8008 "},
      {"of a unit that was thrown away", 0, Bytes().u8(DW_RLE_offset_pair).uleb(4).uleb(8), ""},
  };
  for (const auto& fact : facts) {
    const Bytes closed = Bytes(fact.entries).u8(DW_RLE_end_of_list);
    for (const ByteOrder order : bothOrders) {
      for (const uint8_t offsetSize : {uint8_t{4}, uint8_t{8}}) {
        // In front of the table of two offsets, the count of them.
        Bytes table = Bytes().pad(8).u32(2).number(99, offsetSize).number(uint64_t{2} * offsetSize, offsetSize);
        Lists lists(ElfFile(order)
                        .section(".debug_addr", section)
                        .section(".debug_rnglists", Bytes(table).append(closed).append(fact.entries)));
        UnitForms unit = UnitOf(5, fact.lowPc, 4, offsetSize);
        unit.rnglistsBase = 12;
        EXPECT_EQ(lists.Read(unit, OffsetOf(table.size())), fact.expected) << fact.what;
        EXPECT_EQ(lists.Read(unit, IndexOf(1)), fact.expected) << fact.what;
        EXPECT_EQ(lists.Read(unit, OffsetOf(table.size() + closed.size())), fact.expected + std::string(PAST_END))
            << fact.what;
        EXPECT_EQ(lists.Read(unit, IndexOf(2)), "there is no list 2");
      }
    }
  }
}

TEST(AddressList, WhatIsNoList) {
  const Bytes list =
      Bytes().u8(DW_RLE_startx_endx).uleb(0).uleb(0).u8(0).u8(8).u8(DW_RLE_start_end).u32(0x8000).u16(0x80);
  Lists lists(ElfFile().section(".debug_rnglists", list));
  const UnitForms unit = UnitOf(5);
  EXPECT_EQ(lists.Read(unit, OffsetOf(0)), "there is no entry 0") << "no address of that index";
  EXPECT_EQ(lists.Read(unit, OffsetOf(4)), "0x8 begins no entry of a list");
  EXPECT_EQ(lists.Read(unit, OffsetOf(5)), PAST_END) << "an entry that is cut off";
  EXPECT_EQ(lists.Read(unit, OffsetOf(0xFFFFFFF0)), PAST_END);
  EXPECT_EQ(lists.Read(unit, IndexOf(0)), "there is no list 0") << "a unit without a base";
  EXPECT_EQ(lists.Read(UnitOf(4), OffsetOf(0)), "the section is missing");
  EXPECT_EQ(lists.Read(unit, {ValueClass::constant, 4, 4, 0, 0}), "") << "no offset since version 4";
  EXPECT_EQ(lists.Read(UnitOf(3), {ValueClass::constant, 4, 4, 0, 0}), "the section is missing");
}

TEST(AddressList, AFileWithoutSegmentsHasItsCodeAnywhere) {
  const OpenedImage image = ElfFile().open();
  DeadCode deadCode;
  ASSERT_TRUE(deadCode.Use(image));
  EXPECT_FALSE(deadCode.IsCountedFromMark(0, 0x8000, 4));
  EXPECT_TRUE(deadCode.IsCountedFromMark(0, 0, 4));
  const OpenedImage loaded = ElfFile()
                                 .segment(PT_LOAD, 0x4000, Bytes().pad(0x10))
                                 .segment(PT_LOAD, 0, Bytes().pad(0x100))
                                 .segment(PT_LOAD, 0x80, Bytes().pad(0x10))
                                 .open();
  ASSERT_TRUE(deadCode.Use(loaded));
  for (const auto& [begin, isGone] : {std::pair{0xFFU, false}, {0x100U, false}, {0xFFFFFFFFU, true}}) {
    EXPECT_EQ(deadCode.IsCountedFromMark(0, begin, 4), isGone) << "0 is an address of this file";
  }
}

}  // namespace
