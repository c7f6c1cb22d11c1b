// The scan: what each unit's first entry gives its module, the abbreviations that are taken, and what fails the scan.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

constexpr uint32_t UNKNOWN = 0x2001;  // an attribute that nobody wants

Unit First(const Attrs& attrs) { return Unit().parent(DW_TAG_compile_unit, attrs).end(); }

class UnitScan : public HostTest {
 protected:
  // The file fails to build, with one message and no module.
  void ExpectRefused(const ElfFile& file, const std::string& what) {
    EXPECT_EQ(Load(file), nullptr) << what;
    EXPECT_EQ(built, 0) << what;
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE}) << what;
  }
};

TEST_F(UnitScan, MakesAModuleOfEachUnit) {
  for (const ByteOrder order : bothOrders) {
    for (const uint8_t size : oddAddressSizes) {
      Unit first = Unit({.version = 3, .addressSize = size});
      first.parent(DW_TAG_compile_unit, {Name("a.c"), Low(0x12), High(0x34)});
      first.label("first entry").child(DW_TAG_base_type, {Size(1)}).end();
      DescModule* module = Load(Dwarf2File(order, first, First({})));
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
  const std::string longName(3000, 'n');
  const struct {
    std::string name, compDir, module, directory;
  } facts[] = {
      {"main.c", "/project", "main.c", "/project"},
      {"src/main.c", "/project", "main.c", "/project/src"},
      {"/abs/main.c", "/project", "main.c", "/abs"},
      {"src\\main.c", "C:\\work", "main.c", "C:\\work\\src"},
      {"main", "", "main", ""},
      {longName, longName, longName.substr(0, 1023), ""},
  };
  for (const auto& fact : facts) {
    for (const bool indirect : {false, true}) {  // in the entry or in .debug_str
      const uint32_t form = indirect ? DW_FORM_strp : DW_FORM_string;
      const Unit unit = First({{DW_AT_comp_dir, form, indirect ? "directory" : fact.compDir},
                               {DW_AT_name, form, indirect ? "name" : fact.name}});
      const Bytes strings = Bytes().text("x").label("name").text(fact.name).label("directory").text(fact.compDir);
      const DescModule* module = Load(Dwarf2File(ByteOrder::big, unit).section(".debug_str", strings));
      ASSERT_NE(module, nullptr);
      EXPECT_EQ(module->name, fact.module);
      EXPECT_EQ(module->directory, fact.directory);
    }
  }
}

TEST_F(UnitScan, ReadsTheAttributesOfTheUnit) {
  const auto as = [](uint32_t attribute, uint32_t form, int64_t value) { return Attrs{{attribute, form, value}}; };
  const struct {
    Attrs attrs;
    const char* expected;  // low, high, hasRange, language, line offset
  } facts[] = {
      // clang-format off
      {{Low(0), High(0x10)}, "0 10 1 0 0"},
      {{High(0), Low(0x10)}, "10 0 1 0 0"},
      {{Low(0), High(0)}, "0 0 0 0 0"},
      {{Low(0x10)}, "10 0 0 0 0"},
      {{High(0x10)}, "0 10 0 0 0"},
      {{Low(0x10), {DW_AT_high_pc, DW_FORM_data4, 0x20}}, "10 0 1 0 0"},  // no address: skipped, and met all the same
      {as(DW_AT_language, DW_FORM_udata, 1), "0 0 0 3 0"}, {as(DW_AT_language, DW_FORM_udata, 2), "0 0 0 3 0"},
      {as(DW_AT_language, DW_FORM_udata, 4), "0 0 0 4 0"}, {as(DW_AT_language, DW_FORM_udata, 10), "0 0 0 2 0"},
      {as(DW_AT_language, DW_FORM_udata, 0x41), "0 0 0 1 0"}, {as(DW_AT_language, DW_FORM_udata, 3), "0 0 0 0 0"},
      {as(DW_AT_language, DW_FORM_udata, 12), "0 0 0 0 0"},
      {as(DW_AT_stmt_list, DW_FORM_data1, 0x35), "0 0 0 0 35"}, {as(DW_AT_stmt_list, DW_FORM_data2, 0x35),
       "0 0 0 0 35"},
      {as(DW_AT_stmt_list, DW_FORM_data8, 0x35), "0 0 0 0 35"}, {as(DW_AT_stmt_list, DW_FORM_sdata, 0x35),
       "0 0 0 0 35"},
      {{{UNKNOWN, DW_FORM_block1, Bytes().pad(5, 1)}, {UNKNOWN, DW_FORM_strp, 99}, {UNKNOWN, DW_FORM_ref_addr, 1},
       Low(9)},
       "9 0 0 0 0"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      EXPECT_EQ(Listed(Load(Dwarf2File(order, First(fact.attrs))),
                       [](const DescModule& m) {
                         return Hex(m.lowPc) + " " + Hex(m.highPc) + " " + Hex(m.hasRange) + " " + Hex(m.language) +
                                " " + Hex(m.ext->lineOffset);
                       }),
                Texts{fact.expected});
    }
  }
}

// Declarations whose entry is the unit's first. The table is closed behind them.
TEST_F(UnitScan, TakesAbbreviations) {
  const auto abbrev = [](uint32_t code, uint32_t tag = DW_TAG_compile_unit, uint8_t children = DW_CHILDREN_yes) {
    return Abbrevs().abbrev(code, tag, children);
  };
  const auto manyAttributes = [&](int count) {
    Abbrevs abbrevs = abbrev(1);
    for (int i = 0; i < count; ++i) abbrevs.attr(UNKNOWN, DW_FORM_data1);
    return abbrevs;
  };
  const auto open = [] { return Abbrevs().uleb(1).uleb(DW_TAG_compile_unit).u8(DW_CHILDREN_yes); };
  const Abbrevs named = abbrev(1).attr(DW_AT_name, DW_FORM_string);
  const Bytes one = Bytes().uleb(1);
  const struct {
    const char* what;
    Abbrevs abbrevs;
    Bytes entry;
    bool taken;
  } facts[] = {
      // clang-format off
      {"499 attributes", manyAttributes(499), Bytes().uleb(1).pad(499, 1), true},
      {"500 attributes", manyAttributes(500), Bytes().uleb(1).pad(500, 1), false},
      {"attribute without a form ends the pairs", open().attr(DW_AT_type, 0), one, true},
      {"form without an attribute", open().attr(0, DW_FORM_data4), one, true},
      {"children byte 2", abbrev(1, DW_TAG_compile_unit, 2), one, false},
      {"no children", abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_no), one, false},
      {"another tag", abbrev(1, DW_TAG_subprogram), one, false},
      {"of two declarations the later holds", abbrev(1, DW_TAG_label, 0).abbrev(1, DW_TAG_compile_unit, 1), one, true},
      {"codes in one bucket", abbrev(72, DW_TAG_label, 0).abbrev(1, DW_TAG_compile_unit, 1).abbrev(143, DW_TAG_label,
       0), one,
       true},
      {"code past 2^31", abbrev(0xFFFFFFF0), Bytes().uleb(0xFFFFFFF0), true},
      {"a code that the table lacks", named, Bytes().uleb(2).text("a.c"), false},
      {"code 0", named, Bytes().uleb(0).text("a.c"), false},
      {"an over-long code ends the table", Abbrevs(named).close().pad(12, 0x80).uleb(0), Bytes().uleb(1).text("a.c"),
       true},
      {"an over-long code in front", Abbrevs().pad(12, 0x80).append(named), Bytes().uleb(1).text("a.c"), false},
      {"empty table", Abbrevs(), one, false},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const Unit unit = Unit({.abbrevOffset = 5}).append(fact.entry).end();
      ElfFile file(order);
      file.section(".debug_info", unit).section(".debug_abbrev", Bytes().pad(5, 0xEE), fact.abbrevs);
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
  const Unit good = First({Name("a.c")});
  ExpectRefused(ElfFile().section(".debug_info", Unit().entry(1).end()), "no .debug_abbrev");
  ExpectRefused(ElfFile().section(".debug_info", good, Bytes().pad(5)).section(".debug_abbrev", good.abbrevs()),
                "five bytes behind the last unit");
  for (const Unit& bad : {Unit().child(DW_TAG_compile_unit), First({{DW_AT_stmt_list, DW_FORM_block1, Bytes().u8(1)}}),
                          First({{DW_AT_language, DW_FORM_string, "C"}}), First({{DW_AT_name, DW_FORM_strp, 0}}),
                          First({{UNKNOWN, 0x02, 1}}), First({{UNKNOWN, 0x17, 1}}), First({{UNKNOWN, 0x7FFFFFFF, 1}}),
                          First({{UNKNOWN, DW_FORM_indirect, 0}})}) {
    ExpectRefused(Dwarf2File(ByteOrder::big, good, bad), "behind a good one");
  }
  const Bytes names = Bytes().pad(40, 0xFF);
  EXPECT_EQ(Load(ElfFile().section(".debug_info").section(".debug_pubnames", names)), nullptr);
  EXPECT_EQ(built, 1) << "an empty section is no failure";
}

// Where the unit lengths lead. The scan goes by them alone.
TEST_F(UnitScan, FollowsUnitLengths) {
  const Unit a = First({Name("a.c")});
  const Unit b = First({Name("b.c")});
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
      ExpectRefused(Dwarf2File(order, a, withLength(length), b), std::to_string(length));
    }
  }
}

}  // namespace
