// Units as published: headers of every version, what their own entries give, and what a unit that cannot be read costs.
#include <gtest/gtest.h>

#include <map>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"

namespace {

constexpr uint32_t SHF_COMPRESSED = 0x800;

class PublishedUnits : public HostTest {
 protected:
  // The file was built with one message and a reason whose text begins so.
  void ExpectReason(const std::string& text, const char* section, uint32_t offset) {
    const LoaderFailure failure = LastFailure(loader);
    EXPECT_EQ(built, 1) << text;
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE}) << text;
    EXPECT_EQ(std::string(failure.text).substr(0, text.size()), text);
    EXPECT_STREQ(failure.section, section) << text;
    EXPECT_EQ(failure.offset, offset) << text;
  }

 private:
  const EnvironmentValue published_{"DWARFRULES", "PUBLISHED"};
};

Unit Named(const UnitHeader& header, const std::string& name) {
  return Unit(header).parent(DW_TAG_compile_unit, {Name(name)}).end();
}

// All versions, formats and address sizes in one file.
TEST_F(PublishedUnits, OfEveryVersionInOneFile) {
  for (const ByteOrder order : bothOrders) {
    Bytes info, abbrevs;
    Texts expected;
    for (const int version : {2, 3, 4, 5}) {
      for (const bool is64Bit : {false, true}) {
        for (const uint8_t size : addressSizes) {
          const std::string name = std::to_string(version) + (is64Bit ? "-64-" : "-32-") + std::to_string(size);
          const Unit unit = Unit({.version = static_cast<uint16_t>(version), .addressSize = size, .is64Bit = is64Bit})
                                .parent(DW_TAG_compile_unit, {{DW_AT_comp_dir, DW_FORM_strp, "directory"}, Name(name)})
                                .label(name + " own")
                                .child(DW_TAG_base_type, {Name("int"), Size(4)})
                                .child(DW_TAG_variable, {Name("a"), Type(name + " own")})
                                .child(DW_TAG_variable, {Name("b"), {DW_AT_type, DW_FORM_ref_addr, "2-32-2 own"}})
                                .end();
          info.append(unit);
          abbrevs.append(unit.abbrevs());
          expected.push_back(name + " /project " + std::to_string(size) + " a:int b:int");
        }
      }
    }
    const Bytes strings = Bytes().u8(0).label("directory").text("/project");
    const DescModule* module = LoadAndExtend(
        ElfFile(order).section(".debug_info", info).section(".debug_abbrev", abbrevs).section(".debug_str", strings));
    EXPECT_EQ(Listed(module,
                     [](const DescModule& m) {
                       return m.name + (" " + std::string(m.directory)) + " " + std::to_string(m.ext->addressSize) +
                              " " + DescribedInLine(m.vars);
                     }),
              expected);
  }
}

// Between two good units. Offsets are counted from the bad one; lengths are right.
TEST_F(PublishedUnits, OneThatCannotBeReadCostsItselfAlone) {
  const auto root = [](const UnitHeader& header, const Attrs& attrs, uint32_t tag = DW_TAG_compile_unit) {
    return Unit(header).parent(tag, attrs).end();
  };
  const struct {
    Unit bad;
    const char* reason;
    uint32_t offset;
    const char* section = ".debug_info";
  } facts[] = {
      {Named({.version = 1}, "x.c"), "DWARF 1 is not known", 4},
      {Named({.version = 6}, "x.c"), "DWARF 6 is not known", 4},
      {Named({.version = 6, .is64Bit = true}, "x.c"), "DWARF 6 is not known", 12},
      {Named({.version = 5, .type = 0x7F}, "x.c"), "unit type 0x7F is not known", 6},
      {Named({.version = 5, .addressSize = 0}, "x.c"), "addresses of 0 bytes are not known", 0},
      {Named({.version = 2, .addressSize = 9}, "x.c"), "addresses of 9 bytes are not known", 0},
      {root({.version = 4}, {}, DW_TAG_subprogram), "tag 0x2E is no unit's", 11},
      {Unit({.version = 5}).entry(0), "", 12},
      {Unit({.version = 3}).entry(99), "", 11},
      {Unit({.version = 3, .abbrevOffset = 0x7777}).entry(1), "", 11},
      {root({.version = 5}, {Name("x.c"), {DW_AT_language, 0x7E, 1}}), "form 0x7E is not known", 17},
      {root({.version = 5}, {{DW_AT_name, DW_FORM_strx, 7}}), "there is no entry 7", 8, ".debug_str_offsets"},
      {root({.version = 5}, {Low(1), {DW_AT_high_pc, DW_FORM_addrx, 7}}), "there is no entry 7", 0, ".debug_addr"},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const Unit a = Named({.version = 2}, "a.c");
      const ElfFile file = Dwarf2File(order, a, fact.bad, Named({.version = 5}, "b.c"));
      EXPECT_EQ(Names(Load(file)), (Texts{"a.c", "b.c"})) << fact.reason;
      const bool isInInfo = fact.section == std::string(".debug_info");
      ExpectReason(fact.reason, fact.section, isInInfo ? a.size() + fact.offset : fact.offset);
    }
  }
}

// Headers that are broken themselves. Where the length leads outside, an index says where the next unit begins.
TEST_F(PublishedUnits, TheNextUnitIsFoundByLengthOrByIndex) {
  const Unit a = Named({.label = "a"}, "a.c");
  const Unit b = Named({.version = 5, .label = "b"}, "b.c");
  const Bytes outside = Bytes().u32(0x5000).u16(2);
  const Bytes debugNames =
      Bytes().length().u16(5).u16(0).u32(2).u32(0).u32(0).u32(0).u32(0).u32(0).u32(4).text("abc").ref("a").ref("b");
  const Bytes longSet = Bytes().u32(0xFFFFFFFF).length(8).u16(2).ref("b", 8).u64(0);
  const Texts both = {"a.c", "b.c"};
  const struct {
    Bytes bad;
    const char* index;
    Chunk sets;
    const char* reason;
    Texts expected;
    uint32_t offset = 0;
  } facts[] = {
      {Bytes().length().u16(4).u8(0), ".x", {}, "the unit ends in its header", both},
      {Bytes().u32(0), ".x", {}, "DWARF ", both, 4},
      {Bytes().u32(0xFFFFFFFF).length(8).u16(3).u64(1ULL << 40).u8(4), ".x", {}, "an offset has", both, 22},
      {outside, ".x", {}, "unit_length 0x5000 leads outside the section", {"a.c"}},
      {outside, ".debug_aranges", ARanges("a").end(), "unit_length 0x5000", {"a.c"}},
      {outside, ".debug_aranges", Joined(ARanges("b").end(), ARanges("a").end()), "unit_length 0x5000", both},
      {outside, ".debug_pubnames", Joined(PubNames("a").end(), longSet), "unit_length 0x5000", both},
      {outside, ".debug_names", debugNames, "unit_length 0x5000", both},
      {Bytes().u32(0xFFFFFFF0), ".debug_pubnames", PubNames("b").end(), "unit_length 0xFFFFFFF0", both},
      {Bytes().u32(0xFFFFFFFF).u64(1ULL << 33), ".debug_pubnames", PubNames("b").end(), "an offset has", both, 12},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const ElfFile file = ElfFile(order)
                               .section(".debug_info", a, fact.bad, b)
                               .section(".debug_abbrev", a.abbrevs(), b.abbrevs())
                               .section(fact.index, fact.sets);
      EXPECT_EQ(Names(Load(file)), fact.expected) << fact.reason << fact.index;
      ExpectReason(fact.reason, ".debug_info", a.size() + fact.offset);
    }
  }
}

// What the unit's own entry gives, where the bases come after what they are for.
TEST_F(PublishedUnits, RootsByVersion) {
  const Attr low = {DW_AT_low_pc, DW_FORM_addrx, 1};
  const Attr addrBase = {DW_AT_addr_base, DW_FORM_sec_offset, 8};
  const struct {
    int version;
    Attrs attrs;
    const char* expected;  // name, range, whether it holds, ranges
  } facts[] = {
      {3, {Low(0x8010), High(0x8020)}, " 8010-8020 1 "},
      {3, {{DW_AT_ranges, DW_FORM_data4, "pairs"}}, " 0-0 0 8200-820f 8100-8103 "},
      {4, {{DW_AT_ranges, DW_FORM_data4, "pairs"}}, " 0-0 0 "},  // a constant from version 4 on
      {4, {{DW_AT_ranges, DW_FORM_sec_offset, "pairs"}, Low(0x8000)}, " 8000-0 0 10200-1020f 10100-10103 "},
      {4, {{DW_AT_high_pc, DW_FORM_data4, 0x20}, Low(0x8010)}, " 8010-8030 1 "},
      {5, {{DW_AT_high_pc, DW_FORM_udata, 0x20}, low, addrBase}, " 8004-8024 1 "},
      {4, {Low(0x8010), High(0x8000)}, " 8010-0 0 "},
      {4, {{DW_AT_high_pc, DW_FORM_data4, 0x20}}, " 0-0 0 "},
      {4, {Low(0x8010), {DW_AT_high_pc, DW_FORM_block1, Bytes().u8(9)}}, " 8010-0 0 "},
      {4, {Low(0), High(0x10)}, " 0-0 0 "},  // thrown away: no segment has address 0
      {5, {{DW_AT_name, DW_FORM_strx1, 1}, {DW_AT_str_offsets_base, DW_FORM_sec_offset, 12}}, "later.c 0-0 0 "},
      {5, {{DW_AT_name, DW_FORM_strx, 2}}, "later.c 0-0 0 "},  // of the first table, where the unit does not say
      {5, {{DW_AT_name, DW_FORM_line_strp, "line"}}, "line.c 0-0 0 "},
      {5,
       {{DW_AT_ranges, DW_FORM_rnglistx, 0}, low, {DW_AT_rnglists_base, DW_FORM_sec_offset, 12}, addrBase},
       " 8004-0 0 8008-800b "},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const Unit unit =
          Unit({.version = static_cast<uint16_t>(fact.version)}).parent(DW_TAG_compile_unit, fact.attrs).end();
      const ElfFile file =
          Dwarf2File(order, unit)
              .segment(PT_LOAD, 0x8000, Bytes().pad(0x1000))
              .section(".debug_addr", Bytes().length().u16(5).u8(4).u8(0).u32(0x8000).u32(0x8004))
              .section(".debug_str", Bytes().label("other").text("other.c").label("later").text("later.c"))
              .section(".debug_line_str", Bytes().u8(0).label("line").text("line.c"))
              .section(".debug_str_offsets", Bytes().length().u16(5).u16(0).ref("other").ref("other").ref("later"))
              .section(".debug_ranges",
                       Bytes().u64(0).label("pairs").u32(0x8100).u32(0x8104).u32(0x8200).u32(0x8210).u64(0))
              .section(".debug_rnglists",
                       Bytes().length().u16(5).u8(4).u8(0).u32(1).u32(4).u8(DW_RLE_offset_pair).u8(4).u8(8).u8(0));
      const auto text = [](const DescModule& m) {
        std::string ranges;
        for (const DescAddrRange* range = m.ext->addrRanges; range != nullptr; range = range->next) {
          ranges += Hex(range->low) + "-" + Hex(range->high) + " ";
        }
        return m.name + (" " + Hex(m.lowPc)) + "-" + Hex(m.highPc) + " " + Hex(m.hasRange) + " " + ranges;
      };
      EXPECT_EQ(Listed(Load(file), text), Texts{fact.expected}) << fact.version;
    }
  }
  const Unit both =
      Unit({.version = 4, .label = "u"}).parent(DW_TAG_compile_unit, {{DW_AT_ranges, DW_FORM_sec_offset, 0}}).end();
  const DescModule* module = Load(Dwarf2File(ByteOrder::big, both)
                                      .section(".debug_ranges", Bytes().u32(0x8100).u32(0x8104).u64(0))
                                      .section(".debug_aranges", ARanges("u").range(0x8800, 4).end()));
  ASSERT_NE(module->ext->addrRanges, nullptr);
  EXPECT_EQ(module->ext->addrRanges->low, 0x8800u) << "the index goes first";
  EXPECT_EQ(module->ext->addrRanges->next, nullptr);
}

TEST_F(PublishedUnits, Languages) {
  const std::map<uint32_t, std::vector<int>> languages = {
      {LANGUAGE_C, {1, 2, 0x0C, 0x10, 0x12, 0x1D, 0x2C}},
      {LANGUAGE_CXX, {4, 0x19, 0x1A, 0x21, 0x2A, 0x2B}},
      {LANGUAGE_MODULA2, {10}},
      {LANGUAGE_ASSEMBLY, {0x8001}},
      {LANGUAGE_UNKNOWN, {3, 0x0E, 0x13, 0x1C, 0x7FFF}},
  };
  for (const auto& [language, values] : languages) {
    for (const int value : values) {
      const Unit unit =
          Unit({.version = 4}).parent(DW_TAG_compile_unit, {{DW_AT_language, DW_FORM_data2, value}}).end();
      EXPECT_EQ(Load(Dwarf2File(ByteOrder::little, unit))->language, language) << value;
    }
  }
}

// As assemblers write their units, in front of and after others.
TEST_F(PublishedUnits, WithoutChildren) {
  const LineProgram lines = LineProgram(PublishedLineHeader{}, "lines").setAddress(0x8000).copy().advancePc(4).copy();
  for (const ByteOrder order : bothOrders) {
    const Unit startup =
        Unit({.version = 5})
            .child(DW_TAG_compile_unit, {Name("start.s"), {DW_AT_stmt_list, DW_FORM_sec_offset, "lines"}});
    const Unit main =
        Unit({.version = 4}).parent(DW_TAG_compile_unit, {Name("main.c")}).child(DW_TAG_variable, {Name("v")}).end();
    const DescModule* module = LoadAndExtend(Dwarf2File(order, startup, main, startup).section(".debug_line", lines));
    EXPECT_EQ(extended, 3);
    EXPECT_EQ(Names(module), (Texts{"1:start.s", "main.c", "2:start.s"}));
    EXPECT_EQ(Described(module->lineBlocks), Texts{"include/a.c 8000:1 8004:1"});
    EXPECT_EQ(module->vars, nullptr);
    EXPECT_EQ(Names(module->next->vars), Texts{"v"});
  }
}

// What the file does not have, or not in a form that can be read: the reason says what to do or where to look.
TEST_F(PublishedUnits, WithPartsElsewhere) {
  const Attrs attrs = {Name("a.c"), {DW_AT_comp_dir, DW_FORM_strp, 0}};
  const Unit plain = Unit({.version = 4}).parent(DW_TAG_compile_unit, attrs).end();
  const Unit skeleton = Unit({.version = 5, .type = DW_UT_skeleton})
                            .child(DW_TAG_skeleton_unit, {{DW_AT_dwo_name, DW_FORM_string, "a.dwo"}});
  const Unit gnuSkeleton =
      Unit({.version = 4}).child(DW_TAG_compile_unit, {Name("a.c"), {DW_AT_GNU_dwo_name, DW_FORM_string, "a.dwo"}});
  const Unit dwz = Unit({.version = 4})
                       .parent(DW_TAG_compile_unit, {Name("a.c")})
                       .child(DW_TAG_variable, {{DW_AT_name, DW_FORM_GNU_strp_alt, 3}})
                       .child(DW_TAG_variable, {Name("v"), {DW_AT_type, DW_FORM_GNU_ref_alt, 3}})
                       .end();
  const Bytes strings = Bytes().text("/project");
  for (const ByteOrder order : bothOrders) {
    EXPECT_EQ(Names(Load(Dwarf2File(order, skeleton))), Texts{"a.dwo"});
    ExpectReason("the unit's entries are in another file: a.dwo", ".debug_info", 0);
    EXPECT_EQ(Names(Load(Dwarf2File(order, gnuSkeleton))), Texts{"a.c"});
    ExpectReason("the unit's entries are in another file: a.dwo", ".debug_info", 0);
    EXPECT_STREQ(LastFailure(loader).unit, "a.c");

    const ElfFile alternate = Dwarf2File(order, dwz).section(".gnu_debugaltlink", Bytes().text("all.debug").pad(20, 9));
    EXPECT_EQ(Described(LoadAndExtend(alternate)->vars), (Texts{":undefined", "v:undefined"}));
    EXPECT_EQ(extended, 1);
    ExpectReason("names and types that are in all.debug are left out", ".gnu_debugaltlink", 0);
    const auto supplement = [](uint8_t isOne) { return Bytes().u16(5).u8(isOne).text("all.debug").u8(0); };
    Load(Dwarf2File(order, plain).section(".debug_str", strings).section(".debug_sup", supplement(0)));
    ExpectReason("names and types that are in all.debug are left out", ".debug_sup", 0);
    Load(Dwarf2File(order, plain).section(".debug_str", strings).section(".debug_sup", supplement(1)));
    EXPECT_STREQ(LastFailure(loader).text, "") << "the supplement itself lacks nothing";

    ElfFile packed = Dwarf2File(order, plain).section(".debug_str", strings);
    EXPECT_STREQ(Load(packed)->directory, "/project");
    EXPECT_STREQ(Load(packed.set(&ElfSectionHeader::sh_flags, SHF_COMPRESSED))->directory, "");
    ExpectReason("the section is compressed; decompress it: objcopy --decompress-debug-sections", ".debug_str", 0);
    const ElfFile all = ElfFile(order)
                            .section(".debug_abbrev", plain.abbrevs())
                            .section(".debug_info", plain)
                            .set(&ElfSectionHeader::sh_flags, SHF_COMPRESSED);
    EXPECT_EQ(Load(all), nullptr);
    EXPECT_EQ(built, 0);
    EXPECT_STREQ(LastFailure(loader).section, ".debug_info");
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
  }
}

}  // namespace
