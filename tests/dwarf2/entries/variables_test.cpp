// Variables, parameters, members and base classes: one record for all, and where it is from its location.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

class Variables : public HostTest {
 protected:
  // One variable with these attributes, and one behind it that shows that the walk kept in step.
  DescVar* Variable(ByteOrder order, const Attrs& attrs, const Chunk& locations = {}, uint8_t addressSize = 4) {
    Unit unit = Unit({.addressSize = addressSize}).parent(DW_TAG_compile_unit).child(DW_TAG_variable, attrs);
    ElfFile file = Dwarf2File(order, unit.child(DW_TAG_variable, {Name("behind")}).end());
    if (locations.size() != 0) file.section(".debug_loc", locations);
    DescModule* module = LoadAndExtend(file);
    if (extended == 1) Find(module->vars, "behind");
    return module->vars;
  }
  // Its locations as "low-high: expression up to the first 0".
  Texts Locations(ByteOrder order, const Attrs& attrs, const Chunk& locations = {}, uint8_t addressSize = 4) {
    const DescVar* var = Variable(order, attrs, locations, addressSize);
    EXPECT_EQ(extended, 1);
    return Listed(var->location, [](const DescLocation& location) {
      std::string text = Hex(location.lowPc) + "-" + Hex(location.highPc) + ":";
      for (const uint8_t* byte = location.expression; *byte != 0; ++byte) text += " " + Hex(*byte);
      return text;
    });
  }
};

TEST_F(Variables, Attributes) {
  for (const ByteOrder order : bothOrders) {
    const DescVar* bare = Variable(order, {});
    EXPECT_STREQ(bare->name, "");
    EXPECT_STREQ(bare->type->name, "undefined");
    EXPECT_EQ(bare->type->key, 0u) << "the shared type";
    EXPECT_EQ(bare->location, nullptr);
    // clang-format off
    const DescVar* var = Variable(order, {
        {DW_AT_const_value, DW_FORM_data4, 7}, {DW_AT_segment, DW_FORM_data2, 0x1234}, {DW_AT_bit_size, DW_FORM_udata,
         0x103},
        {DW_AT_external, DW_FORM_flag, 1}, {DW_AT_abstract_origin, DW_FORM_ref4, 3}, Size(9), Name("first"),
         Name("second")});
    // clang-format on
    EXPECT_STREQ(var->name, "second");
    EXPECT_EQ(var->location, nullptr) << "a constant value is not kept";
    EXPECT_EQ(var->segment, 0x34);
    EXPECT_EQ(var->bitSize, 3);
    EXPECT_EQ(var->byteSize, 0);
    EXPECT_EQ(extended, 1);
    for (const uint32_t attribute : {DW_AT_bit_offset, DW_AT_bit_size, DW_AT_segment}) {
      EXPECT_STREQ(Variable(order, {Name("kept"), {attribute, DW_FORM_block1, Bytes().u8(7)}})->name, "kept");
      EXPECT_EQ(extended, 0);
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    }
  }
  // Base classes are named by the reader, members are not.
  Unit unit = Unit().parent(DW_TAG_compile_unit).parent(DW_TAG_class_type, {Name("c")}).child(DW_TAG_inheritance);
  unit.child(DW_TAG_inheritance, {Name("named")})
      .child(DW_TAG_inheritance, {Name("")})
      .child(DW_TAG_member)
      .end()
      .end();
  EXPECT_EQ(Names(LoadAndExtend(Dwarf2File(ByteOrder::big, unit))->types->items.members),
            (Texts{"baseclass", "named", "", ""}));
}

TEST_F(Variables, BlocksAreExpressionsThatHoldEverywhere) {
  const Bytes address = Bytes().u8(DW_OP_addr).raw({0x12, 0x34, 0x56, 0x78});
  for (const ByteOrder order : bothOrders) {
    for (const uint32_t form : {DW_FORM_block1, DW_FORM_block2, DW_FORM_block4, DW_FORM_block}) {
      EXPECT_EQ(Locations(order, {{DW_AT_location, form, address}}), Texts{"0-ffffffff: 3 12 34 56 78"});
      EXPECT_EQ(Locations(order, {{DW_AT_location, form, Bytes()}}), Texts{"0-ffffffff:"});
    }
    // No location, and no failure. A later location of either kind wins.
    EXPECT_EQ(Locations(order, {{DW_AT_location, DW_FORM_string, "x"}}), Texts{});
    EXPECT_EQ(Locations(order, {{DW_AT_location, DW_FORM_indirect, Bytes().uleb(DW_FORM_data1).u8(1)}}), Texts{});
    EXPECT_EQ(Locations(order, {{DW_AT_location, DW_FORM_block1, address},
                                {DW_AT_data_member_location, DW_FORM_block1, Bytes().u8(0x23)}}),
              Texts{"0-ffffffff: 23"});
  }
}

TEST_F(Variables, ConstantsAndReferencesAreLocationLists) {
  const auto listAt = [](uint32_t form, int offset) { return Attrs{{DW_AT_location, form, offset}}; };
  for (const ByteOrder order : bothOrders) {
    for (const uint8_t size : oddAddressSizes) {
      LocationList list = LocationList(size).pad(5, 0xEE).range(0x12, 0x34, {0x50}).range(0, 4, {});
      list.range(4, 0, {0x51, 0x52}).end().range(7, 8, {0x53});
      for (const uint32_t form :
           {DW_FORM_data1, DW_FORM_data2, DW_FORM_data4, DW_FORM_data8, DW_FORM_sdata, DW_FORM_udata, DW_FORM_ref_addr,
            DW_FORM_ref1, DW_FORM_ref2, DW_FORM_ref4, DW_FORM_ref8, DW_FORM_ref_udata}) {
        EXPECT_EQ(Locations(order, listAt(form, 5), list, size), (Texts{"4-0: 51 52", "0-4:", "12-34: 50"}))
            << "the last of the file stands first; form " << form;
      }
    }
    // Two words of 0xFFFFFFFF end a list as well; with addresses of 2 bytes the pair of largest values does not.
    const auto ones = LocationList().range(0xFFFFFFFF, 0x1000, {0x50}).u64(0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(Locations(order, listAt(DW_FORM_data4, 0), ones), Texts{"ffffffff-1000: 50"});
    const auto narrow = LocationList(2).range(0xFFFF, 0xFFFF, {0x50}).end();
    EXPECT_EQ(Locations(order, listAt(DW_FORM_data4, 0), narrow, 2), Texts{"ffff-ffff: 50"});
    EXPECT_EQ(Locations(order, listAt(DW_FORM_data4, 0), LocationList().end()), Texts{});
  }
}

TEST_F(Variables, ListsThatCannotBeReadFailTheFill) {
  const struct {
    const char* what;
    uint32_t offset;
    Chunk locations;
  } facts[] = {
      {"no .debug_loc", 0, {}},
      {"no end within the section", 0, LocationList().range(1, 2, {0x50})},
      {"offset behind the section", 0x7FFFFFFF, LocationList().end()},
      {"length that the file does not hold", 0, LocationList().u32(1).u32(2).u16(0xFFFF)},
  };
  for (const auto& fact : facts) {
    for (const uint8_t size : addressSizes) {
      const Attrs attrs = {Name("kept"), {DW_AT_location, DW_FORM_data4, fact.offset}};
      EXPECT_STREQ(Variable(ByteOrder::big, attrs, fact.locations, size)->name, "kept") << fact.what;
      EXPECT_EQ(extended, 0) << fact.what;
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE}) << fact.what;
    }
  }
}

}  // namespace
