// Locations by published rules: expressions that do not depend on their unit, lists of target addresses, values that
// are in no memory.
#include "dwarf2/dwarf2_input.h"
#include "dwarf2/entries/location_lists.h"
#include "support/describe.h"

namespace {

constexpr uint8_t SKIP = 0x2F;
constexpr uint8_t BRA = 0x28;
constexpr uint8_t CALL_REF = 0x9A;
constexpr uint8_t IMPLICIT_POINTER = 0xA0;
constexpr uint8_t CONSTX = 0xA2;
constexpr uint8_t ENTRY_VALUE = 0xA3;
constexpr uint8_t GNU_CONST_INDEX = 0xFC;
constexpr uint8_t UNKNOWN = 0x02;

// A file with values and expressions in .debug_info, and addresses.
class Locations : Dwarf2Input {
 public:
  explicit Locations(const ElfFile& file) : Dwarf2Input(file) {
    heap.Use(hostHeap_);
    expressions.Use(&sections, &values);
    reader_.Use(image->file, littleEndian, &sections, &deadCode, &values);
    info.Use(image->file, littleEndian);
    if (sections.info.exists) info.Seek(sections.info, 0);
  }
  ~Locations() { HEAP_Release(hostHeap_); }
  using Dwarf2Input::failure;

  static ElfFile WithAddresses(ByteOrder order) {
    const Bytes addresses = Bytes().pad(8).u32(0x8000).u32(0x8100).u32(0).u32(0x8200).u32(0x81008100);
    return ElfFile(order).section(".debug_addr", addresses);
  }

  // "8000-8004: BYTES ..." of `length` bytes each, and what failed.
  std::string List(const UnitForms& unit, const AttributeValue& value, uint32_t length) {
    failure.Clear();
    return Describe(reader_.ReadList(unit, value), length) + failure.Text();
  }
  DescLocation* Read(uint32_t form, int32_t implicitConst, LocationReader::Constants constants, const UnitForms& unit) {
    return reader_.Read(&info, form, implicitConst, constants, unit);
  }
  static std::string Describe(const DescLocation* chain, uint32_t length) {
    std::string text;
    for (; chain != nullptr; chain = chain->next) {
      text += Hex(chain->lowPc) + "-" + Hex(chain->highPc) + ":";
      for (uint32_t i = 0; i < length; ++i) text += " " + Hex(chain->expression[i]);
      for (uint32_t i = 0; i < EXPRESSION_PADDING; ++i) EXPECT_EQ(chain->expression[length + i], 0);
      text += " ";
    }
    return text;
  }

 private:
  mem_desc* hostHeap_ = HEAP_Create(0, 0, 0);

 public:
  RecordHeap heap{&failure, &allowance};
  ExpressionReader expressions{&heap};
  Cursor info{&failure, &allowance};

 private:
  LocationReader reader_{&failure, &allowance, &expressions};
};

RawBytes Padded(const Bytes& bytes, ByteOrder order) { return Bytes(bytes).pad(EXPRESSION_PADDING).In(order); }

Bytes Address(uint32_t address) { return Bytes().u8(DW_OP_addr).u32(address); }
Bytes Repeated(uint32_t count, const Bytes& bytes) {
  Bytes all;
  for (uint32_t i = 0; i < count; ++i) all.append(bytes);
  return all;
}
Bytes Enclosed(const Bytes& bytes) { return Bytes().u8(ENTRY_VALUE).uleb(bytes.size()).append(bytes); }
Bytes Branch(uint8_t code, int distance) { return Bytes().u8(code).u16(static_cast<uint16_t>(distance)); }

// Every operation, with operands that look like other operations where they can.
Bytes AllOperations(uint32_t referenceSize) {
  const Bytes leb = Bytes().raw({0xA1, 0xA1, 0x00});
  Bytes all = Bytes().u8(DW_OP_addr).pad(4, 0xA1).u8(0x06);
  for (const auto& [first, last, size] : std::initializer_list<std::tuple<int, int, int>>{{0x08, 0x09, 1},
                                                                                          {0x0A, 0x0B, 2},
                                                                                          {0x0C, 0x0D, 4},
                                                                                          {0x0E, 0x0F, 8},
                                                                                          {0x12, 0x14, 0},
                                                                                          {0x15, 0x15, 1},
                                                                                          {0x16, 0x22, 0},
                                                                                          {0x24, 0x27, 0},
                                                                                          {0x29, 0x2E, 0},
                                                                                          {0x30, 0x6F, 0},
                                                                                          {0x94, 0x95, 1},
                                                                                          {0x96, 0x97, 0},
                                                                                          {0x98, 0x98, 2},
                                                                                          {0x99, 0x99, 4},
                                                                                          {0x9B, 0x9C, 0},
                                                                                          {0x9F, 0x9F, 0},
                                                                                          {0xE0, 0xE0, 0},
                                                                                          {0xF0, 0xF0, 0},
                                                                                          {0xFA, 0xFA, 4}}) {
    for (int code = first; code <= last; ++code) {
      all.u8(static_cast<uint8_t>(code)).pad(static_cast<uint32_t>(size), 0xA1);
    }
  }
  for (const int code : {0x10, 0x11, 0x23, 0x90, 0x91, 0x93, 0xA8, 0xA9, 0xF7, 0xF9}) {
    all.u8(static_cast<uint8_t>(code)).append(leb);
  }
  for (int code = 0x70; code <= 0x8F; ++code) all.u8(static_cast<uint8_t>(code)).append(leb);
  for (const int code : {0x92, 0x9D, 0xA5, 0xF5}) all.u8(static_cast<uint8_t>(code)).append(leb).append(leb);
  for (const int code : {0xA6, 0xA7, 0xF6}) all.u8(static_cast<uint8_t>(code)).u8(0xA1).append(leb);
  for (const int code : {0xA4, 0xF4}) all.u8(static_cast<uint8_t>(code)).append(leb).u8(2).pad(2, 0xA1);
  for (const int code : {0x9A, 0xFD}) all.u8(static_cast<uint8_t>(code)).number(0xA1A1A1A1, referenceSize);
  for (const int code : {0xA0, 0xF2}) all.u8(static_cast<uint8_t>(code)).number(0xA1A1A1A1, referenceSize).append(leb);
  all.u8(0x9E).uleb(3).pad(3, 0xA1);
  for (const int code : {0xA3, 0xF3}) all.u8(static_cast<uint8_t>(code)).uleb(1).u8(0x50);
  for (const auto& [encoding, size] :
       {std::pair{0x00, 4}, {0x02, 2}, {0x03, 4}, {0x04, 8}, {0x1A, 2}, {0x1B, 4}, {0x1C, 8}}) {
    all.u8(0xF1).u8(static_cast<uint8_t>(encoding)).pad(static_cast<uint32_t>(size), 0xA1);
  }
  return all.u8(0xF1).u8(0x01).append(leb).u8(0xF1).u8(0x09).append(leb);
}

const Bytes addrx = Bytes().u8(DW_OP_addrx).u8(1);

TEST(Expressions, WhatDependsOnTheUnitIsResolved) {
  const Bytes found = Address(0x8100);
  const struct {
    const char* what;
    UnitForms unit;
    Bytes file, record;
  } facts[] = {
      {"nothing", UnitOf(5), Bytes().u8(0x91).sleb(-8), Bytes().u8(0x91).sleb(-8)},
      {"no bytes", UnitOf(5), Bytes(), Bytes()},
      {"index", UnitOf(5), addrx, found},
      {"index of GNU tools", UnitOf(4), Bytes().u8(DW_OP_GNU_addr_index).uleb(1).u8(0x9F), Bytes(found).u8(0x9F)},
      {"constants", UnitOf(5), Bytes().u8(CONSTX).raw({0x83, 0x00}).u8(0xE0).u8(GNU_CONST_INDEX).u8(1),
       Bytes().u8(DW_OP_const4u).u32(0x8200).u8(0xE0).u8(DW_OP_const4u).u32(0x8100)},
      {"short addresses", UnitOf(5, 0, 2), Bytes().u8(DW_OP_addrx).u8(8).u8(CONSTX).u8(9),
       Bytes().u8(DW_OP_addr).u16(0x8100).u8(DW_OP_const4u).u32(0x8100)},
      {"every operation", UnitOf(5), AllOperations(4).append(addrx), AllOperations(4).append(found)},
      {"every operation, long offsets", UnitOf(5, 0, 4, 8), AllOperations(8).append(addrx),
       AllOperations(4).append(found)},
      {"long offsets", UnitOf(3, 0, 4, 8), Bytes().u8(IMPLICIT_POINTER).u64(0x1234).sleb(-3).u8(CALL_REF).u64(7),
       Bytes().u8(IMPLICIT_POINTER).u32(0x1234).sleb(-3).u8(CALL_REF).u32(7)},
      {"offsets like addresses", UnitOf(2, 0, 4, 8), Bytes().u8(CALL_REF).u32(7).append(addrx),
       Bytes().u8(CALL_REF).u32(7).append(found)},
      {"branches over it", UnitOf(5),
       Branch(BRA, 5).append(addrx).append(Branch(SKIP, -8)).append(Branch(SKIP, 0)).u8(0x9F),
       Branch(BRA, 8).append(found).append(Branch(SKIP, -11)).append(Branch(SKIP, 0)).u8(0x9F)},
      {"branches to end and outside", UnitOf(5), Branch(SKIP, 5).append(Branch(SKIP, 99)).append(addrx),
       Branch(SKIP, 8).append(Branch(SKIP, 99)).append(found)},
      {"enclosed", UnitOf(5), Enclosed(addrx).u8(0x9F), Enclosed(found).u8(0x9F)},
      {"enclosed twice, with branches", UnitOf(5),
       Branch(SKIP, 10).append(Enclosed(Enclosed(Branch(SKIP, 2).append(addrx)).u8(0x12))).u8(0x9F),
       Branch(SKIP, 13).append(Enclosed(Enclosed(Branch(SKIP, 5).append(found)).u8(0x12))).u8(0x9F)},
      {"a length that grows", UnitOf(5), Branch(SKIP, 122).append(Enclosed(Repeated(60, addrx))).append(addrx),
       Branch(SKIP, 303).append(Enclosed(Repeated(60, found))).append(found)},
      {"a length that stays", UnitOf(5), Bytes().u8(ENTRY_VALUE).raw({0x81, 0x00, 0x50}).append(addrx),
       Bytes().u8(ENTRY_VALUE).raw({0x81, 0x00, 0x50}).append(found)},
      {"not known", UnitOf(5), Branch(SKIP, 3).append(addrx).u8(UNKNOWN).append(addrx),
       Branch(SKIP, 6).append(found).u8(UNKNOWN).append(addrx)},
      {"cut off", UnitOf(5), Bytes(addrx).u8(DW_OP_const4u).u16(0xA101), Bytes(found).u8(DW_OP_const4u).u16(0xA101)},
      {"a cut-off length", UnitOf(5), Bytes(addrx).u8(ENTRY_VALUE).u8(9).append(addrx), Bytes(found).pad(4, 0)},
      {"a length past the end, copied", UnitOf(3), Bytes().u8(0x50).u8(0x9E).uleb(3).raw({1, 2}),
       Bytes().u8(0x50).pad(4, 0)},
      {"the same, enclosed", UnitOf(3), Bytes().u8(ENTRY_VALUE).u8(3).u8(0x9E).uleb(2).u8(1).u8(0x50),
       Bytes().pad(6, 0)},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      Locations locations(Locations::WithAddresses(order).section(".debug_info", fact.file));
      const DescLocation* location = locations.expressions.Read(&locations.info, fact.unit, fact.file.size(), 1, 2);
      ASSERT_NE(location, nullptr) << fact.what << ": " << locations.failure.Text();
      const RawBytes expected = Padded(fact.record, order);
      EXPECT_EQ(RawBytes(location->expression, location->expression + expected.size()), expected) << fact.what;
      EXPECT_EQ(locations.info.Offset(), fact.file.size()) << fact.what;
      EXPECT_EQ(Hex(location->lowPc) + Hex(location->highPc), "12");
    }
  }
  // Where no unit can have indexes, and in a window that does not hold it.
  Locations plain(ElfFile().section(".debug_info", addrx));
  EXPECT_EQ(Locations::Describe(plain.expressions.Read(&plain.info, UnitOf(4), 2, 0, 1), 2), "0-1: a1 1 ");
  Locations large(Locations::WithAddresses(ByteOrder::big).section(".debug_info", Repeated(6000, addrx)));
  const DescLocation* location = large.expressions.Read(&large.info, UnitOf(5), 12000, 0, 1);
  ASSERT_NE(location, nullptr);
  const RawBytes expected = Padded(Repeated(6000, found), ByteOrder::big);
  EXPECT_EQ(RawBytes(location->expression, location->expression + expected.size()), expected);
}

TEST(Expressions, WhatCannotBeResolvedFails) {
  Bytes nested = addrx;
  for (uint32_t i = 0; i <= ExpressionRewrite::MAX_NESTING; ++i) nested = Enclosed(nested);
  const struct {
    UnitForms unit;
    Bytes file;
    uint32_t length;
    const char* reason;
  } facts[] = {
      {UnitOf(5), Bytes().u8(DW_OP_addrx).u8(9), 2, "there is no entry 9"},
      {UnitOf(5, 0, 4, 8), Bytes().u8(CALL_REF).u64(0x100000000), 9, "an offset has more than 32 bits"},
      {UnitOf(5), nested, nested.size(), "expressions are nested deeper than 8"},
      {UnitOf(5), Branch(SKIP, 20000).append(Repeated(10000, addrx)), 20003, "a branch of an expression leads too far"},
      {UnitOf(5), addrx, 0x7FFFFFFF, "an expression of 0x7FFFFFFF bytes goes past the end of the file"},
  };
  for (const auto& fact : facts) {
    Locations locations(Locations::WithAddresses(ByteOrder::little).section(".debug_info", fact.file));
    EXPECT_EQ(locations.expressions.Read(&locations.info, fact.unit, fact.length, 0, 1), nullptr);
    EXPECT_STREQ(locations.failure.Text(), fact.reason);
  }
}

TEST(LocationLists, PairsOfAddresses) {
  const auto at = [](uint32_t low, uint32_t high, uint8_t code) { return Bytes().u32(low).u32(high).u16(1).u8(code); };
  const Bytes list = Bytes()
                         .append(at(4, 8, 0x51))
                         .append(at(8, 8, 0x52))
                         .append(Bytes().u32(0xFFFFFFFF).u32(0x8800))
                         .append(at(0, 4, 0x53))
                         .append(Bytes().u32(0xFFFFFFFF).u32(1))
                         .append(at(0, 4, 0x54))
                         .append(Bytes().u32(0xFFFFFFFF).u32(0))
                         .append(at(0x8100, 0x8104, 0x55));
  const Bytes closed = Bytes(list).u64(0);
  const std::string expected = "8004-8008: 51 8800-8804: 53 8100-8104: 55 ";
  for (const ByteOrder order : bothOrders) {
    Locations locations(ElfFile(order).section(".debug_loc", closed, Bytes(list).u32(1).u32(2).u16(9)));
    for (const uint16_t version : {uint16_t{2}, uint16_t{4}}) {
      EXPECT_EQ(locations.List(UnitOf(version, 0x8000), OffsetOf(0), 1), expected);
    }
    EXPECT_EQ(locations.List(UnitOf(3, 0x8000), {ValueClass::constant, 4, closed.size(), 0, 0}, 1),
              expected + "a list goes on past the end of its section");
  }
}

TEST(LocationLists, EntriesByKind) {
  const auto op = [](uint8_t code) { return Bytes().uleb(1).u8(code); };
  const Bytes list = Bytes()
                         .u8(DW_LLE_GNU_view_pair)
                         .uleb(1)
                         .uleb(300)
                         .u8(DW_LLE_offset_pair)
                         .uleb(4)
                         .uleb(8)
                         .append(op(0x50))
                         .u8(DW_LLE_base_addressx)
                         .uleb(1)
                         .u8(DW_LLE_offset_pair)
                         .uleb(0)
                         .uleb(4)
                         .append(op(0x51))
                         .u8(DW_LLE_startx_endx)
                         .uleb(0)
                         .uleb(3)
                         .append(op(0x52))
                         .u8(DW_LLE_startx_length)
                         .uleb(2)
                         .uleb(4)
                         .append(op(0x53))  // thrown away
                         .u8(DW_LLE_startx_length)
                         .uleb(3)
                         .uleb(4)
                         .append(op(0x54))
                         .u8(DW_LLE_default_location)
                         .append(op(0x55))
                         .u8(DW_LLE_base_address)
                         .u32(0x8400)
                         .u8(DW_LLE_offset_pair)
                         .uleb(4)
                         .uleb(4)
                         .append(op(0x56))
                         .u8(DW_LLE_start_end)
                         .u32(0x8500)
                         .u32(0x8504)
                         .append(op(0x57))
                         .u8(DW_LLE_start_length)
                         .u32(0x8600)
                         .uleb(4)
                         .append(op(0x58));
  const std::string expected =
      "8004-8008: 50 8100-8104: 51 8000-8200: 52 8200-8204: 54 0-ffffffff: 55 8500-8504: 57 8600-8604: 58 ";
  const Bytes table = Bytes().pad(8).u32(1).u32(4);
  for (const ByteOrder order : bothOrders) {
    Locations locations(Locations::WithAddresses(order).section(
        ".debug_loclists",
        Bytes(table).append(list).u8(DW_LLE_end_of_list).append(list).u8(DW_LLE_default_location).uleb(2)));
    UnitForms unit = UnitOf(5, 0x8000);
    unit.loclistsBase = 12;
    EXPECT_EQ(locations.List(unit, IndexOf(0), 1), expected);
    EXPECT_EQ(locations.List(unit, OffsetOf(table.size() + list.size() + 1), 1),
              expected + "a list goes on past the end of its section");
    EXPECT_EQ(locations.List(unit, IndexOf(1), 1), "there is no list 1");
  }
  Locations resolved(Locations::WithAddresses(ByteOrder::big)
                         .section(".debug_loclists", Bytes().u8(DW_LLE_default_location).uleb(2).append(addrx).u8(0)));
  EXPECT_EQ(resolved.List(UnitOf(5), OffsetOf(0), 5), "0-ffffffff: 3 0 0 81 0 ");
}

// By the class of the value: the form, and the version where constants may be offsets.
TEST(LocationLists, ClassesOfValues) {
  using Constants = LocationReader::Constants;
  const struct {
    const char* what;
    uint16_t version;
    uint32_t form;
    Bytes value;
    Constants constants;
    uint32_t length;
    const char* expected;
  } facts[] = {
      {"block", 2, DW_FORM_block1, Bytes().u8(1).u8(0x50), Constants::areAbsent, 1, "0-ffffffff: 50 "},
      {"expression", 4, DW_FORM_exprloc, Bytes().u8(1).u8(0x50), Constants::areAbsent, 1, "0-ffffffff: 50 "},
      {"indirect", 4, DW_FORM_indirect, Bytes().uleb(DW_FORM_exprloc).u8(1).u8(0x50), Constants::areAbsent, 1,
       "0-ffffffff: 50 "},
      {"offset", 4, DW_FORM_sec_offset, Bytes().u32(0), Constants::areDistances, 1, "8000-8004: 51 "},
      {"offset of version 3", 3, DW_FORM_data4, Bytes().u32(0), Constants::areDistances, 1, "8000-8004: 51 "},
      {"distance", 4, DW_FORM_data4, Bytes().u32(300), Constants::areDistances, 3, "0-ffffffff: 23 ac 2 "},
      {"distance of version 3", 3, DW_FORM_data1, Bytes().u8(0x7F), Constants::areDistances, 2, "0-ffffffff: 23 7f "},
      {"distance in the abbreviation", 5, DW_FORM_implicit_const, Bytes(), Constants::areDistances, 3,
       "0-ffffffff: 23 80 1 "},
      {"constant", 4, DW_FORM_data4, Bytes().u32(0), Constants::areAbsent, 1, ""},
      {"text", 4, DW_FORM_string, Bytes().text("x"), Constants::areDistances, 1, ""},
      {"wide constant", 5, DW_FORM_data16, Bytes().pad(16, 0x50), Constants::areAbsent, 1, ""},
  };
  const Bytes list = Bytes().u32(0x8000).u32(0x8004).u16(1).u8(0x51).u64(0);
  for (const auto& fact : facts) {
    Locations locations(
        ElfFile(ByteOrder::little).section(".debug_loc", list).section(".debug_info", Bytes(fact.value).u8(0xEE)));
    const DescLocation* location = locations.Read(fact.form, 128, fact.constants, UnitOf(fact.version));
    EXPECT_EQ(Locations::Describe(location, fact.length), fact.expected) << fact.what;
    EXPECT_EQ(locations.info.U8(), 0xEEu) << fact.what;
    EXPECT_FALSE(locations.failure) << fact.what;
  }
}

TEST(ImplicitValues, HaveTheSizeOfTheType) {
  const Bytes filled = Bytes().u8(0xEE).raw({1, 2, 3, 0, 0xEE});
  const struct {
    const char* what;
    AttributeValue value;
    uint32_t size;
    RawBytes little;  // big is the reverse
  } facts[] = {
      {"unsigned", {ValueClass::constant, 1, 0xFE, 0, 0}, 4, {0xFE, 0, 0, 0}},
      {"signed", {ValueClass::signedConstant, 0, 0xFFFFFFFE, 0xFFFFFFFF, 0}, 2, {0xFE, 0xFF}},
      {"signed, wide",
       {ValueClass::signedConstant, 0, 0xFFFFFFFE, 0xFFFFFFFF, 0},
       10,
       {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {"8 bytes",
       {ValueClass::constant, 8, 0x55667788, 0x11223344, 0},
       8,
       {0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11}},
      {"address", {ValueClass::address, 0, 0x8100, 0, 0}, 4, {0, 0x81, 0, 0}},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      Locations locations(ElfFile(order).section(".debug_info", filled));
      const DescLocation* location = locations.expressions.MakeImplicitValue(&locations.info, fact.value, fact.size);
      RawBytes bytes = fact.little;
      if (order == ByteOrder::big) std::reverse(bytes.begin(), bytes.end());
      const RawBytes expected = Padded(Bytes().u8(DW_OP_implicit_value).uleb(fact.size).raw(bytes), order);
      EXPECT_EQ(RawBytes(location->expression, location->expression + expected.size()), expected) << fact.what;
    }
  }
  Locations locations(ElfFile().section(".debug_info", filled));
  const auto made = [&locations](const AttributeValue& value, uint32_t size) {
    return Locations::Describe(locations.expressions.MakeImplicitValue(&locations.info, value, size), 2 + size);
  };
  EXPECT_EQ(made({ValueClass::block, 0, 3, 0, 1}, 3), "0-ffffffff: 9e 3 1 2 3 ");
  EXPECT_EQ(made({ValueClass::block, 0, 3, 0, 1}, 2), "0-ffffffff: 9e 2 1 2 ");
  EXPECT_EQ(made({ValueClass::inlineText, 0, 0, 0, 1}, 5), "0-ffffffff: 9e 5 1 2 3 0 0 ");
  EXPECT_EQ(Locations::Describe(locations.expressions.MakeImplicitText("ab", 3), 5), "0-ffffffff: 9e 3 61 62 0 ");
  EXPECT_EQ(made({ValueClass::reference, 0, 3, 0, 1}, 3), "") << "of another class";
  EXPECT_EQ(made({ValueClass::constant, 1, 3, 0, 1}, 0), "") << "of a type without a size";
  EXPECT_EQ(locations.info.U8(), 0xEEu) << "the cursor is where it was";
  EXPECT_FALSE(locations.failure);
}

}  // namespace
