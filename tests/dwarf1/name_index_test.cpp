// The index sections: what they hang on the modules, and where reading stops.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1NameIndex);

// Names, then ranges, of each module.
Texts IndexesOf(const DescModule* modules) {
  return Listed(modules, [](const DescModule& module) {
    std::string text;
    for (const std::string& name : Names(module.ext->globalNames)) text += name + " ";
    text += "|";
    for (const auto* range = module.ext->addrRanges; range != nullptr; range = range->next) {
      text += " " + std::to_string(range->low) + ".." + std::to_string(range->high);
    }
    return text;
  });
}

// Three units, the last two of one source.
ElfFile ThreeUnits(ByteOrder order) {
  return Dwarf1File(order, Dwarf1Unit({at::name("a.c")}, "a"), Dwarf1Unit({at::name("b.c")}, "b"),
                    Dwarf1Unit({at::name("b.c")}, "c"));
}

TEST_P(Dwarf1NameIndex, WhatIsReadAndWhereItStops) {
  const Bytes names = Joined(NameSet("a", {"a1", "a2"}), NameSet("c", {"c1"}), NameSet("b", {"b1"}));
  const Bytes addrs = Joined(RangeSet("b", {{0, 8}, {16, 0}}), RangeSet("a", {{64, 64}}), RangeSet("b", {{32, 1}}));
  const auto set = [](uint32_t length, const Bytes& rest) {
    return Bytes().u32(length).u8(1).ref("a").u32(0).append(rest);
  };
  const struct {
    const char* what;
    Bytes names, ranges;
    std::string first, second;  // module
  } facts[] = {
      // clang-format off
      {"both", names, addrs, "a2 a1 | 64..127", "b1 c1 | 32..32 16..15 0..7"},
      {"wrong version of names stops both", Joined(NameSet("a", {"x"}), NameSet("b", {"y"}, 2)), addrs, "x |", "|"},
      {"wrong version of ranges", names, Joined(RangeSet("a", {{1, 1}}), RangeSet("b", {{2, 1}}, 2)),
       "a2 a1 | 1..1", "b1 c1 |"},
      {"unknown unit", Joined(NameSet("a", {"x"}), NameSet("after", {"y"}), NameSet("b", {"z"})).label("after"),
       addrs,
       "x |", "|"},
      {"unknown unit of ranges", names, Joined(RangeSet("after", {{1, 1}}), RangeSet("a", {{1, 1}})).label("after"),
       "a2 a1 |", "b1 c1 |"},
      {"no names", NameSet("a", {}), addrs, "| 64..127", "| 32..32 16..15 0..7"},
      {"bytes after the closing offset", Joined(set(9 + 4 + 5, Bytes().u32(0).pad(5, 7)), names), {}, "a2 a1 |",
       "b1 c1 |"},
      // Header 9, offset 4, name 2, offset 4: the name "y" would begin at the set's last byte.
      {"a name at the last byte", Joined(set(9 + 4 + 2 + 4 + 1, Bytes().u32(8).text("x").u32(8).u8('y')), names), {},
       "a2 a1 x |", "b1 c1 |"},
      {"a set longer than the section", set(0xFFFFFFFF, Bytes().u32(8).text("x").u32(0)), addrs, "x | 64..127",
       "| 32..32 16..15 0..7"},
      {"ranges without an end", names, Bytes().u32(0).u8(1).ref("a").u32(4).u32(2), "a2 a1 | 4..5", "b1 c1 |"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    ElfFile file = ThreeUnits(GetParam());
    EXPECT_EQ(IndexesOf(Read(file.section(".debug_pubnames", fact.names).section(".debug_aranges", fact.ranges))),
              (Texts{fact.first, fact.second}))
        << fact.what;
    EXPECT_EQ(built, 1) << fact.what;
  }
}

}  // namespace
