// The name and address indexes: which module gets what, and where the reading ends.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"

namespace {

// Units "a", "b" and their modules' lists as texts.
class NameIndexes : public HostTest {
 protected:
  using Lists = std::vector<Texts>;  // names of a, names of b, ranges of a, ranges of b

  Lists Read(ByteOrder order, const Chunk& names, const Chunk& ranges, bool hasNames = true) {
    ElfFile file = Units(order);
    if (hasNames) file.section(".debug_pubnames", names);
    return ListsOf(file.section(".debug_aranges", ranges));
  }

  // Units have their entries at the same offsets where their file names are of one length.
  static Unit WithEntries(const std::string& label, const std::string& name, uint32_t language) {
    const Attr at = {DW_AT_location, DW_FORM_block1, Bytes().u8(DW_OP_addr).u32(0x500)};
    return Unit({.label = label})
        .parent(DW_TAG_compile_unit, {Name(name), {DW_AT_language, DW_FORM_data1, language}})
        .label("entry f")
        .child(DW_TAG_subprogram, {Name("f"), Low(0x700), High(0x710)})
        .label("entry _Zf")
        .child(DW_TAG_subprogram, {Name("_Zf"), Low(0x710), High(0x720)})
        .label("entry v")
        .child(DW_TAG_variable, {Name("v"), at})
        .label("entry s")
        .child(DW_TAG_structure_type, {Name("s")})
        .end();
  }
  static ElfFile Units(ByteOrder order) {
    constexpr uint32_t C = 1;
    constexpr uint32_t CXX = 4;
    return Dwarf2File(order, WithEntries("a", "a.c", CXX), WithEntries("b", "b.c", C));
  }

  Lists ListsOf(const ElfFile& file) {
    const DescModule* module = Load(file);
    EXPECT_EQ(built, 1);
    if (module == nullptr) return {};
    const auto text = [](const DescAddrRange& range) { return Hex(range.low) + "-" + Hex(range.high); };
    return {Names(module->ext->globalNames), Names(module->next->ext->globalNames),
            Listed(module->ext->addrRanges, text), Listed(module->next->ext->addrRanges, text)};
  }
};

TEST_F(NameIndexes, GoToTheModulesOfTheirUnits) {
  const auto names = [](const char* unit, const char* name) { return PubNames(unit).name(1, name).end(); };
  const ARanges someRanges = ARanges("a").range(0x10, 4).end();
  const Texts someText = {"10-13"};
  const struct {
    const char* what;
    Bytes names, ranges;
    Lists expected;
  } facts[] = {
      // clang-format off
      {"newest first; sets in any order, several for a unit",
       Joined(PubNames("b").name(1, "x").name(7, "y").end(), names("a", "z"), names("b", "w")),
       Joined(ARanges("b").range(0x8000, 0x10).range(0x9000, 1).end(), ARanges("a").range(0x10, 4).end(),
              ARanges("b").range(0xFFFFFFF0, 0x10).end()),
       {{"z"}, {"w", "y", "x"}, {"10-13"}, {"fffffff0-ffffffff", "9000-9000", "8000-800f"}}},
      {"a set without names; an empty name", Joined(PubNames("a").end(), PubNames("b").name(2, "").end()), Joined(),
       {{}, {""}, {}, {}}},
      {"a set whose names end early is left by its length",
       Joined(PubNames("a").name(1, "x").end().pad(9, 0xAA), names("b", "y")), Joined(), {{"x"}, {"y"}, {}, {}}},
      {"a set without the closing 0", Joined(PubNames("a").name(1, "x"), names("b", "y")), Joined(someRanges),
       {{"x"}, {}, {}, {}}},  // the length behind it is taken for the offset; the rest then is no set
      {"another version ends both sections", Joined(names("a", "x"), Bytes().u32(20).u16(3).pad(18)),
       Joined(someRanges), {{"x"}, {}, {}, {}}},
      {"a set of no unit ends both sections", Joined(names("a", "x"), PubNames(3).name(1, "y").end(), names("b", "z")),
       Joined(someRanges), {{"x"}, {}, {}, {}}},
      {"0, 0 alone closes a set of ranges", Joined(),
       Joined(ARanges("a").range(0, 4).range(0x20, 0).range(0x10, 4).end(), ARanges("b").range(1, 1).end()),
       {{}, {}, {"10-13", "20-1f", "0-3"}, {"1-1"}}},
      {"behind the closing tuple stands the next set, whatever the length said", Joined(),
       Joined(Bytes().u32(99).u16(2).ref("a").u8(4).u8(0).u32(0).u64(0), ARanges("b").range(1, 1).end()),
       {{}, {}, {}, {"1-1"}}},
      {"ranges of another version, of no size, of no unit", Joined(),
       Joined(someRanges, Bytes().u32(20).u16(3).ref("b").u8(4).u8(0).u32(0).u64(0), someRanges),
       {{}, {}, someText, {}}},
      {"", Joined(), Joined(someRanges, ARanges("b", 0), someRanges), {{}, {}, someText, {}}},
      {"", Joined(), Joined(someRanges, ARanges("end").label("end").range(1, 1).end(), someRanges),
       {{}, {}, someText, {}}},
      {"a set without its closing tuple ends with the section", Joined(), Joined(ARanges("a").range(0x10, 4)),
       {{}, {}, someText, {}}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      EXPECT_EQ(Read(order, fact.names, fact.ranges), fact.expected) << fact.what;
    }
  }
  EXPECT_EQ(Read(ByteOrder::big, {}, someRanges, false), (Lists{{}, {}, someText, {}})) << "without .debug_pubnames";
}

// The set's own address size counts; of more than 4 bytes the low ones.
TEST_F(NameIndexes, TuplesOfAnySize) {
  for (const ByteOrder order : bothOrders) {
    for (const uint8_t size : {uint8_t{1}, uint8_t{2}, uint8_t{3}, uint8_t{4}, uint8_t{6}, uint8_t{8}}) {
      const uint32_t low = size < 4 ? 0x42 : 0xA1000042;
      const Bytes ranges = Joined(ARanges("a", size).range(low, 0x10).end(), ARanges("b", size).range(1, 1).end());
      EXPECT_EQ(Read(order, {}, ranges), (Lists{{}, {}, {Hex(low) + "-" + Hex(low + 15)}, {"1-1"}})) << int{size};
    }
    const ARanges three = ARanges("a", 3).raw({1, 2, 3, 1, 0, 0}).raw({0, 0, 0, 0, 0, 0});
    EXPECT_EQ(Read(order, {}, three)[2], Texts{order == ByteOrder::big ? "10203-20202" : "30201-30201"});
  }
}

// Sets as published.
Bytes LongSet(const char* unit) { return Bytes().u32(0xFFFFFFFF).length(8).u16(2).ref(unit, 8); }
Bytes LongNames(const char* unit) { return LongSet(unit).u64(0); }
Bytes GnuNames(const char* unit) { return Bytes().length().u16(2).ref(unit).u32(0); }
constexpr uint8_t GNU_TYPE = 0x10, GNU_VARIABLE = 0x20, GNU_STATIC_FUNCTION = 0xB0;

TEST_F(NameIndexes, AsPublishedASetCostsItselfAlone) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const Bytes unknown = Bytes().length().u16(2).u32(0x5555).u32(0).u32(1).text("no unit").u32(0);
  const Bytes otherVersion = Bytes().length().u16(3).ref("a").u32(0).u32(1).text("version").u32(0);
  const PubNames b = PubNames("b").name(1, "x").end();
  const struct {
    const char* what;
    const char* section;
    Bytes bytes;
    Lists expected;
    const char* reason;
  } facts[] = {
      // clang-format off
      {"unknown version, unknown unit, no bytes", ".debug_pubnames",
       Joined(unknown, otherVersion, Bytes().u32(0), Bytes().u32(2).u16(2), b), {{}, {"x"}, {}, {}}, ""},
      {"the 64-bit format", ".debug_pubnames",
       Joined(LongNames("a").u64(1).text("long").u64(0), LongNames("a").u64(1ULL << 40).text("more").u64(0), b),
       {{"more", "long"}, {"x"}, {}, {}}, ""},
      {"a set without the closing 0 ends with its length", ".debug_pubnames",
       Joined(PubNames("a").name(1, "y"), b), {{"y"}, {"x"}, {}, {}}, ""},
      {"a set that leads outside the section", ".debug_pubnames",
       Joined(b, Bytes().u32(0x1000).u16(2).ref("a").u32(0).u32(1).text("kept").u32(0)), {{"kept"}, {"x"}, {}, {}},
       "the set leads outside the section"},
      {"kinds of names", ".debug_gnu_pubnames",
       Joined(GnuNames("a").u32(1).u8(GNU_TYPE).text("ns").u32(9).u8(GNU_VARIABLE).text("ns::v").u32(0),
              GnuNames("b").u32(1).u8(GNU_STATIC_FUNCTION).text("f").u32(0)), {{"ns::v"}, {"f"}, {}, {}}, ""},
      {"kinds of names in the 64-bit format", ".debug_gnu_pubnames",
       LongNames("b").u64(1).u8(GNU_TYPE).text("t").u64(1).u8(GNU_VARIABLE).text("v").u64(0), {{}, {"v"}, {}, {}}, ""},
      {"ranges of unknown units and versions, in both formats", ".debug_aranges",
       Joined(Bytes().length().u16(2).u32(0x5555).u8(4).u8(0).u32(0).u64(1).u64(0),
              Bytes().length().u16(3).ref("a").u8(4).u8(0).u32(0).u32(0x10).u32(4).u64(0),
              LongSet("b").u8(4).u8(0).u32(0x20).u32(4).u64(0), ARanges("a").range(0x10, 4).end()),
       {{}, {}, {"10-13"}, {"20-23"}}, ""},
      {"segments; bytes after the closing tuple", ".debug_aranges",
       Joined(Bytes().length().u16(2).ref("a").u8(4).u8(4).u32(7).u32(0x30).u32(8).pad(12).pad(3, 0xAA),
              ARanges("b").range(0x10, 4).end()), {{}, {}, {"30-37"}, {"10-13"}}, ""},
      {"empty ranges, and code that the linker threw away", ".debug_aranges",
       Joined(ARanges("a").range(0x20, 0).range(0, 4).range(1, 4).range(0xFFFFFFFF, 1).range(0x10, 4).end(), Bytes()),
       {{}, {}, {"10-13"}, {}}, ""},
      {"a set without its closing tuple", ".debug_aranges",
       Joined(ARanges("a").range(0x10, 4), ARanges("b").range(0x20, 4).end()), {{}, {}, {"10-13"}, {"20-23"}}, ""},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      EXPECT_EQ(ListsOf(Units(order).section(fact.section, fact.bytes)), fact.expected) << fact.what;
      EXPECT_STREQ(LastFailure(loader).text, fact.reason) << fact.what;
      EXPECT_EQ(TakeMessages().size(), *fact.reason == 0 ? 0U : 1U);
    }
  }
}

// A set of `.debug_names` for the units "a" and "b": each entry is of the unit that its first byte says, or of a type
// unit. `wrongForm` stands in for a form of the abbreviations.
struct Named {
  const char* text;
  uint8_t abbrev;
  uint8_t unit;
};
Bytes DebugNames(const Unit& unit, const std::vector<Named>& names, uint32_t offsetSize, bool hasHashes,
                 uint32_t form = DW_FORM_data1) {
  Bytes abbrevs;
  for (const uint32_t tag : {DW_TAG_subprogram, DW_TAG_variable, DW_TAG_structure_type}) {
    abbrevs.uleb(tag).uleb(tag).uleb(1).uleb(form).uleb(3).uleb(DW_FORM_ref4).uleb(0).uleb(0);
  }
  abbrevs.uleb(300).uleb(DW_TAG_variable).uleb(2).uleb(DW_FORM_udata).uleb(4).uleb(DW_FORM_flag_present).u16(0).u8(0);
  Bytes set;
  offsetSize == 8 ? set.u32(0xFFFFFFFF).length(8) : set.length();
  const auto count = static_cast<uint32_t>(names.size());
  set.u16(5).u16(0).u32(2).u32(1).u32(1).u32(hasHashes ? 1 : 0).u32(count).u32(abbrevs.size()).u32(3).text("abc");
  set.ref("a", offsetSize).ref("b", offsetSize).number(0, offsetSize).u64(0);
  if (hasHashes) set.u32(1).pad(4 * count, 0x77);
  for (const Named& name : names) set.ref(name.text, offsetSize);
  uint32_t place = 0;
  Bytes pool;
  for (const Named& name : names) {
    set.number(place, offsetSize);
    name.abbrev == 0 ? pool.uleb(300).uleb(name.unit)
                     : pool.uleb(name.abbrev).u8(name.unit).u32(unit.labels().at(std::string("entry ") + name.text));
    pool.u8(0);
    place = pool.size();
  }
  return set.append(abbrevs).append(pool);
}

TEST_F(NameIndexes, OfVersion5) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const Unit unit = WithEntries("", "a.c", 1);
  const std::vector<Named> names = {{"f", DW_TAG_subprogram, 0},     {"_Zf", DW_TAG_subprogram, 0},
                                    {"_Zf", DW_TAG_subprogram, 1},   {"v", DW_TAG_variable, 1},
                                    {"s", DW_TAG_structure_type, 1}, {"t", 0, 0},
                                    {"f", DW_TAG_variable, 9}};
  Bytes texts;
  for (const char* text : {"f", "_Zf", "v", "s", "t"}) texts.label(text).text(text);
  const Bytes other = Bytes().length().u16(4).pad(30);
  const Bytes small = DebugNames(unit, {{"f", DW_TAG_subprogram, 0}}, 4, false);
  for (const ByteOrder order : bothOrders) {
    const auto read = [&](const Bytes& sets, const Chunk& pubNames = {}) {
      return ListsOf(
          Units(order).section(".debug_names", sets).section(".debug_str", texts).section(".debug_pubnames", pubNames));
    };
    for (const uint32_t offsetSize : {4U, 8U}) {
      for (const bool hasHashes : {false, true}) {
        EXPECT_EQ(read(Joined(other, DebugNames(unit, names, offsetSize, hasHashes), small)),
                  (Lists{{"f", "f"}, {"v", "_Zf"}, {}, {}}));  // names for linkers are left out in C++
      }
    }
    EXPECT_EQ(read(DebugNames(unit, names, 4, true), PubNames("a").name(1, "main").end()),
              (Lists{{"main"}, {"v", "_Zf"}, {}, {}}))
        << "a unit that an older index names";
    // A form of unknown size, an abbreviation that is not there, and tables that the set has no room for.
    const Bytes wrong[] = {DebugNames(unit, names, 4, true, DW_FORM_block1),
                           DebugNames(unit, {{"f", 0x7F, 0}}, 4, true),
                           Bytes().length().u16(5).u16(0).u32(0x40000000).pad(24, 0xFF)};
    for (const Bytes& set : wrong) {
      EXPECT_EQ(read(Joined(set, small)), (Lists{{"f"}, {}, {}, {}}));
      EXPECT_STREQ(LastFailure(loader).section, ".debug_names");
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    }
  }
}

// What was looked up for one file is of no use for the next, which may have its units in the same memory.
TEST_F(NameIndexes, OfVersion5InOneFileAfterTheOther) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  for (const uint32_t scope : {DW_TAG_namespace, DW_TAG_structure_type, DW_TAG_namespace}) {
    for (const std::string name : {"first", "something longer"}) {
      const Unit unit = Unit({.label = "a"})
                            .parent(DW_TAG_compile_unit, {Name("a.cpp"), {DW_AT_language, DW_FORM_data1, 4}})
                            .parent(scope, {Name(name), Size(1)})
                            .label("entry f")
                            .child(DW_TAG_subprogram, {Name(name), Low(0x700), High(0x710)})
                            .end()
                            .end();
      const ElfFile file = Dwarf2File(ByteOrder::big, unit, WithEntries("b", "b.c", 1))
                               .section(".debug_names", DebugNames(unit, {{"f", DW_TAG_subprogram, 0}}, 4, false))
                               .section(".debug_str", Bytes().label("f").text("f"));
      const std::string whole = std::string(name).append("::").append(name);
      for (int i = 0; i < 2; ++i) {
        ListsOf(file);  // and once more without a fill between
        EXPECT_EQ(ListsOf(file)[0], Texts{whole});
        EXPECT_EQ(loader.Extend(table.Modules(), SYM_LOAD_ALL), 1);
        EXPECT_EQ(table.Modules()->procs->name, whole);
      }
    }
  }
}

}  // namespace
