// `.debug_pubnames` and `.debug_aranges`: which module gets what, and where the reading ends.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

// Units "a", "b" and their modules' lists as texts.
class NameIndexes : public HostTest {
 protected:
  using Lists = std::vector<Texts>;  // names of a, names of b, ranges of a, ranges of b

  Lists Read(ByteOrder order, const Chunk& names, const Chunk& ranges, bool hasNames = true) {
    const Unit a = Unit({.label = "a"}).parent(DW_TAG_compile_unit, {Name("a.c")}).end();
    const Unit b = Unit({.label = "b"}).parent(DW_TAG_compile_unit, {Name("b.c")}).end();
    ElfFile file = Dwarf2File(order, a, b);
    if (hasNames) file.section(".debug_pubnames", names);
    const DescModule* module = Load(file.section(".debug_aranges", ranges));
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

}  // namespace
