// The scan: what each unit's first entry gives its module, the abbreviations that are taken, and what fails the scan.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

class UnitScan : public HostTest {
 protected:
  // A file whose units do not matter to the test fails to build, with one message and no module.
  void ExpectRefused(const ElfFile& file, const std::string& what) {
    EXPECT_EQ(Load(file), nullptr) << what;
    EXPECT_EQ(built, 0) << what;
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE}) << what;
  }
  // Builds one unit whose first entry has these attributes; null when the scan failed.
  DescModule* First(ByteOrder order, const Attrs& attrs, const UnitHeader& header = {}) {
    return Load(Dwarf2File(order, Unit(header).parent(DW_TAG_compile_unit, attrs).end()));
  }
};

Unit NamedUnit(const std::string& name) {
  return Unit().parent(DW_TAG_compile_unit, {Name(name)}).end();
}

TEST_F(UnitScan, MakesAModuleOfEachUnit) {
  for (const ByteOrder order : bothOrders) {
    for (const uint8_t size : oddAddressSizes) {
      const Unit first = Unit({.version = 3, .addressSize = size})
                             .parent(DW_TAG_compile_unit, {Name("a.c"), Low(0x12), High(0x34)})
                             .label("first entry")
                             .child(DW_TAG_base_type, {Size(1)})
                             .end();
      const Unit second = Unit().parent(DW_TAG_compile_unit).end();
      DescModule* module = Load(Dwarf2File(order, first, second).section(".debug_str", Bytes().ref("first entry")));
      ASSERT_NE(module, nullptr);
      EXPECT_EQ(module->lowPc, 0x12u);
      EXPECT_EQ(module->highPc, 0x34u);
      EXPECT_EQ(module->hasRange, 1u);
      EXPECT_EQ(module->loadedKinds, 0u);
      EXPECT_EQ(module->ext->unitOffset, 0u);
      EXPECT_EQ(module->ext->addressSize, size);
      EXPECT_EQ(module->ext->firstEntry, first.labels().at("first entry"));
      EXPECT_EQ(module->ext->bitNumbering, 2u);
      EXPECT_EQ(module->types, nullptr);
      EXPECT_EQ(module->lineBlocks, nullptr);
      module = module->next;
      ASSERT_NE(module, nullptr);
      EXPECT_EQ(module->ext->unitOffset, first.size());
      EXPECT_EQ(module->ext->addressSize, 4);
      EXPECT_STREQ(module->name, "");
      EXPECT_STREQ(module->directory, "");
      EXPECT_EQ(module->hasRange, 0u);
      EXPECT_EQ(module->next, nullptr);
    }
  }
}

TEST_F(UnitScan, SplitsThePathOfTheSource) {
  const struct {
    const char *name, *compDir, *module, *directory;
  } facts[] = {
      {"main.c", "/project", "main.c", "/project"},
      {"src/main.c", "/project", "main.c", "/project/src"},
      {"/abs/main.c", "/project", "main.c", "/abs"},
      {"src\\main.c", "C:\\work", "main.c", "C:\\work\\src"},
      {"main", "", "main", ""},
      {"", "/project/x.y", "", "/project/x.y"},
  };
  for (const auto& fact : facts) {
    for (const bool indirect : {false, true}) {  // in the entry or in .debug_str
      const uint32_t form = indirect ? DW_FORM_strp : DW_FORM_string;
      const Unit unit = Unit()
                            .parent(DW_TAG_compile_unit, {{DW_AT_comp_dir, form, indirect ? "directory" : fact.compDir},
                                                          {DW_AT_name, form, indirect ? "name" : fact.name}})
                            .end();
      const Bytes strings = Bytes().text("x").label("name").text(fact.name).label("directory").text(fact.compDir);
      const DescModule* module = Load(Dwarf2File(ByteOrder::big, unit).section(".debug_str", strings));
      ASSERT_NE(module, nullptr);
      EXPECT_STREQ(module->name, fact.module);
      if (*fact.name != 0) {
        EXPECT_STREQ(module->directory, fact.directory);
      }
    }
  }
  const std::string longName(3000, 'n');
  const DescModule* module = First(ByteOrder::big, {Name(longName), {DW_AT_comp_dir, DW_FORM_string, longName}});
  ASSERT_NE(module, nullptr);
  EXPECT_LT(std::string(module->name).size(), 1024u);
}

TEST_F(UnitScan, ReadsTheAttributesOfTheUnit) {
  for (const ByteOrder order : bothOrders) {
    for (const auto& [value, language] :
         {std::pair{1, 3u}, {2, 3u}, {4, 4u}, {10, 2u}, {0x41, 1u}, {3, 0u}, {12, 0u}}) {
      EXPECT_EQ(First(order, {{DW_AT_language, DW_FORM_udata, value}})->language, language) << value;
    }
    for (const uint32_t form :
         {DW_FORM_data1, DW_FORM_data2, DW_FORM_data4, DW_FORM_data8, DW_FORM_udata, DW_FORM_sdata}) {
      EXPECT_EQ(First(order, {{DW_AT_stmt_list, form, 0x35}, {DW_AT_language, form, 4}})->ext->lineOffset, 0x35u);
    }
    const struct {
      Attrs attrs;
      uint32_t low, high, hasRange;
    } ranges[] = {
        {{Low(0), High(0x10)}, 0, 0x10, 1},
        {{High(0), Low(0x10)}, 0x10, 0, 1},
        {{Low(0), High(0)}, 0, 0, 0},
        {{Low(0x10)}, 0x10, 0, 0},
        {{High(0x10)}, 0, 0x10, 0},
        {{Low(0x10), {DW_AT_high_pc, DW_FORM_data4, 0x20}}, 0x10, 0, 1},  // no address: skipped, and met all the same
    };
    for (const auto& range : ranges) {
      const DescModule* module = First(order, range.attrs);
      EXPECT_EQ(module->lowPc, range.low);
      EXPECT_EQ(module->highPc, range.high);
      EXPECT_EQ(module->hasRange, range.hasRange);
    }
  }
}

// Attributes that nobody wants, in every form there is: the name behind them shows that the scan kept in step.
TEST_F(UnitScan, SkipsWhatItDoesNotKnow) {
  constexpr uint32_t UNKNOWN = 0x2001;
  const Bytes five = Bytes().raw({1, 2, 3, 4, 5});
  for (const ByteOrder order : bothOrders) {
    Attrs attrs = {{UNKNOWN, DW_FORM_addr, 1},       {UNKNOWN, DW_FORM_block1, five},  {UNKNOWN, DW_FORM_block2, five},
                   {UNKNOWN, DW_FORM_block4, five},  {UNKNOWN, DW_FORM_block, five},   {UNKNOWN, DW_FORM_data1, 1},
                   {UNKNOWN, DW_FORM_data2, 1},      {UNKNOWN, DW_FORM_data4, 1},      {UNKNOWN, DW_FORM_data8, 1},
                   {UNKNOWN, DW_FORM_string, "abc"}, {UNKNOWN, DW_FORM_flag, 1},       {UNKNOWN, DW_FORM_sdata, -1000},
                   {UNKNOWN, DW_FORM_udata, 1000},   {UNKNOWN, DW_FORM_strp, 99},      {UNKNOWN, DW_FORM_ref_addr, 1},
                   {UNKNOWN, DW_FORM_ref1, 1},       {UNKNOWN, DW_FORM_ref2, 1},       {UNKNOWN, DW_FORM_ref4, 1},
                   {UNKNOWN, DW_FORM_ref8, 1},       {UNKNOWN, DW_FORM_ref_udata, 300}};
    attrs.push_back({UNKNOWN, DW_FORM_indirect, Bytes().uleb(DW_FORM_data2).u16(7)});
    attrs.push_back({UNKNOWN, DW_FORM_indirect, Bytes().uleb(DW_FORM_indirect).uleb(DW_FORM_string).text("x")});
    attrs.push_back(Name("behind.c"));
    for (const uint8_t size : addressSizes) {
      const DescModule* module = First(order, attrs, {.addressSize = size});
      ASSERT_NE(module, nullptr);
      EXPECT_STREQ(module->name, "behind.c");
    }
    for (const uint32_t form : {0x02, 0x17, 0x1F01, 0x7FFFFFFF}) {
      ExpectRefused(Dwarf2File(order, Unit().parent(DW_TAG_compile_unit, {{UNKNOWN, form, 1}}).end()), "form");
    }
    ExpectRefused(Dwarf2File(order, Unit().parent(DW_TAG_compile_unit, {{UNKNOWN, DW_FORM_indirect, 0}}).end()),
                  "form 0");
  }
}

// Declarations whose entry is the unit's first. The table is closed behind them.
TEST_F(UnitScan, TakesAbbreviations) {
  const auto manyAttributes = [](int count) {
    Abbrevs abbrevs = Abbrevs().abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes);
    for (int i = 0; i < count; ++i) {
      abbrevs.attr(0x2001, DW_FORM_data1);
    }
    return abbrevs;
  };
  const Abbrevs named = Abbrevs().abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes).attr(DW_AT_name, DW_FORM_string);
  const struct {
    const char* what;
    Abbrevs abbrevs;
    Bytes entry;
    bool taken;
  } facts[] = {
      {"499 attributes", manyAttributes(499), Bytes().uleb(1).pad(499, 1), true},
      {"500 attributes", manyAttributes(500), Bytes().uleb(1).pad(500, 1), false},
      {"attribute without a form ends the pairs",
       Abbrevs().uleb(1).uleb(DW_TAG_compile_unit).u8(DW_CHILDREN_yes).attr(DW_AT_type, 0), Bytes().uleb(1), true},
      {"form without an attribute",
       Abbrevs().uleb(1).uleb(DW_TAG_compile_unit).u8(DW_CHILDREN_yes).attr(0, DW_FORM_data4), Bytes().uleb(1), true},
      {"children byte 2", Abbrevs().abbrev(1, DW_TAG_compile_unit, 2), Bytes().uleb(1), false},
      {"no children", Abbrevs().abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_no), Bytes().uleb(1), false},
      {"another tag", Abbrevs().abbrev(1, DW_TAG_subprogram, DW_CHILDREN_yes), Bytes().uleb(1), false},
      {"of two declarations the later holds",
       Abbrevs().abbrev(1, DW_TAG_label, DW_CHILDREN_no).abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes),
       Bytes().uleb(1), true},
      {"codes in one bucket",
       Abbrevs()
           .abbrev(72, DW_TAG_label, 0)
           .abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes)
           .abbrev(143, DW_TAG_label, 0),
       Bytes().uleb(1), true},
      {"code past 2^31", Abbrevs().abbrev(0xFFFFFFF0, DW_TAG_compile_unit, DW_CHILDREN_yes), Bytes().uleb(0xFFFFFFF0),
       true},
      {"a code that the table lacks", named, Bytes().uleb(2).text("a.c"), false},
      {"code 0", named, Bytes().uleb(0).text("a.c"), false},
      {"an over-long code ends the table", Abbrevs(named).close().pad(12, 0x80).uleb(0), Bytes().uleb(1).text("a.c"),
       true},
      {"an over-long code in front", Abbrevs().pad(12, 0x80).append(named), Bytes().uleb(1).text("a.c"), false},
      {"empty table", Abbrevs(), Bytes().uleb(1), false},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const Unit unit = Unit({.abbrevOffset = 5}).append(fact.entry).end();
      const ElfFile file =
          ElfFile(order).section(".debug_info", unit).section(".debug_abbrev", Bytes().pad(5, 0xEE), fact.abbrevs);
      if (fact.taken) {
        EXPECT_NE(Load(file), nullptr) << fact.what;
        EXPECT_EQ(built, 1) << fact.what;
      } else {
        ExpectRefused(file, fact.what);
      }
    }
  }
}

TEST_F(UnitScan, FailsAsAWhole) {
  const Unit good = NamedUnit("a.c");
  const struct {
    const char* what;
    ElfFile file;
  } facts[] = {
      {"no .debug_abbrev", ElfFile().section(".debug_info", Unit().entry(1).end())},
      {"childless unit behind a good one", Dwarf2File(ByteOrder::big, good, Unit().child(DW_TAG_compile_unit))},
      {"stmt_list as block",
       Dwarf2File(ByteOrder::big, good,
                  Unit().parent(DW_TAG_compile_unit, {{DW_AT_stmt_list, DW_FORM_block1, Bytes().u8(1)}}).end())},
      {"language as string",
       Dwarf2File(ByteOrder::big, Unit().parent(DW_TAG_compile_unit, {{DW_AT_language, DW_FORM_string, "C"}}).end())},
      {"strp without .debug_str",
       Dwarf2File(ByteOrder::big, Unit().parent(DW_TAG_compile_unit, {{DW_AT_name, DW_FORM_strp, 0}}).end())},
      {"five bytes behind the last unit",
       ElfFile().section(".debug_info", good, Bytes().pad(5)).section(".debug_abbrev", good.abbrevs())},
  };
  for (const auto& fact : facts) {
    ExpectRefused(fact.file, fact.what);
  }
}

// Where the unit lengths lead. The scan goes by them alone.
TEST_F(UnitScan, FollowsUnitLengths) {
  const Unit a = NamedUnit("a.c");
  const Unit b = NamedUnit("b.c");
  const auto withLength = [](uint32_t length) {
    return Unit({.unitLength = length}).parent(DW_TAG_compile_unit, {Name("x.c")}).end();
  };
  for (const ByteOrder order : bothOrders) {
    EXPECT_EQ(Names(Load(Dwarf2File(order, a, b))), (Texts{"a.c", "b.c"}));
    const ElfFile padded =
        ElfFile(order).section(".debug_info", a, Bytes().pad(4)).section(".debug_abbrev", a.abbrevs());
    EXPECT_EQ(Names(Load(padded)), Texts{"a.c"}) << "four bytes of padding are no unit";
    EXPECT_EQ(Names(Load(Dwarf2File(order, a, withLength(5000), b))), (Texts{"a.c", "x.c"})) << "behind the section";
    // Lengths that lead to the unit itself or back to an earlier one end the scan, with a failure.
    for (const uint32_t length : {0xFFFFFFFCu, 0xFFFFFFFCu - a.size(), 0u, 1u}) {
      Load(Dwarf2File(order, a, withLength(length), b));
      EXPECT_EQ(built, 0) << length;
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    }
  }
}

TEST_F(UnitScan, AnEmptySectionIsNoFailure) {
  const ElfFile file = ElfFile()
                           .section(".debug_info")
                           .section(".debug_frame", Bytes().u32(0).u32(0))
                           .section(".debug_pubnames", Bytes().pad(40, 0xFF));
  EXPECT_EQ(Load(file), nullptr);
  EXPECT_EQ(built, 1);
}

}  // namespace
