// The index sections: what they hang on the modules, where reading stops, and what the finders fill by them.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1NameIndex);

Texts NamesOf(const DescModule* module) {
  return Listed(module->ext->globalNames, [](const DescGlobalName& name) -> std::string { return name.name; });
}
Texts RangesOf(const DescModule* module) {
  return Listed(module->ext->addrRanges, [](const DescAddrRange& range) {
    return std::to_string(range.low) + ".." + std::to_string(range.high);
  });
}

// Three units, the last two of one source.
ElfFile ThreeUnits(ByteOrder order) {
  const auto unit = [](const char* file, const char* label) {
    return Dwarf1Unit({at::name(file)}, label)
        .parent(TAG_global_subroutine, {at::name(std::string("proc ") + label), at::lowPc(16), at::highPc(32)})
        .end()
        .entry(TAG_global_variable, {at::name(std::string("var ") + label), at::address(100), at::fundType(FT_long)});
  };
  return Dwarf1File(order, unit("a.c", "a"), unit("b.c", "b"), unit("b.c", "c"));
}

TEST_P(Dwarf1NameIndex, WhatIsReadAndWhereItStops) {
  const Bytes names = Joined(NameSet("a", {"a1", "a2"}), NameSet("c", {"c1"}), NameSet("b", {"b1"}));
  const Bytes addresses = Joined(RangeSet("b", {{0, 8}, {16, 0}}), RangeSet("a", {{64, 64}}), RangeSet("b", {{32, 1}}));
  const auto set = [](uint32_t length, const Bytes& rest) {
    return Bytes().u32(length).u8(1).ref("a").u32(0).append(rest);
  };
  const Texts allNames = {"a2", "a1", "|", "b1", "c1"};
  const Texts allRanges = {"64..127", "|", "32..32", "16..15", "0..7"};
  const Texts none = {"|"};
  const std::string longName(3000, 'n');
  const struct {
    const char* what;
    Bytes names, ranges;
    Texts foundNames, foundRanges;  // of the first and of the second module
  } facts[] = {
      {"both", names, addresses, allNames, allRanges},
      {"empty sections", {}, {}, none, none},
      {"wrong version of names stops both",
       Joined(NameSet("a", {"x"}), NameSet("b", {"y"}, 2)),
       addresses,
       {"x", "|"},
       none},
      {"wrong version of ranges",
       names,
       Joined(RangeSet("a", {{1, 1}}), RangeSet("b", {{2, 1}}, 2)),
       allNames,
       {"1..1", "|"}},
      {"unknown unit",
       Joined(NameSet("a", {"x"}), NameSet("behind", {"y"}), NameSet("b", {"z"})).label("behind"),
       addresses,
       {"x", "|"},
       none},
      {"unknown unit of ranges", names, Joined(RangeSet("behind", {{1, 1}}), RangeSet("a", {{1, 1}})).label("behind"),
       allNames, none},
      {"no names", NameSet("a", {}), addresses, none, allRanges},
      {"bytes behind the closing offset", Joined(set(9 + 4 + 5, Bytes().u32(0).pad(5, 7)), names), addresses, allNames,
       allRanges},
      // Header 9, offset 4, name 2, offset 4: the name "y" would begin at the set's last byte.
      {"a name at the last byte",
       Joined(set(9 + 4 + 2 + 4 + 1, Bytes().u32(8).text("x").u32(8).u8('y')), names),
       addresses,
       {"a2", "a1", "x", "|", "b1", "c1"},
       allRanges},
      {"a set longer than the section",
       set(0xFFFFFFFF, Bytes().u32(8).text("x").u32(0)),
       addresses,
       {"x", "|"},
       allRanges},
      {"ranges without an end", names, Bytes().u32(0).u8(1).ref("a").u32(4).u32(2), allNames, {"4..5", "|"}},
      {"a long name", NameSet("a", {longName, "x"}), {}, {"x", longName.substr(0, 1023), "|"}, none},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    DescModule* module =
        Load(ThreeUnits(GetParam()).section(".debug_pubnames", fact.names).section(".debug_aranges", fact.ranges));
    ASSERT_NE(module, nullptr);
    const auto joined = [&](Texts (*of)(const DescModule*)) {
      Texts all = of(module);
      const Texts second = of(module->next);
      all.emplace_back("|");
      all.insert(all.end(), second.begin(), second.end());
      return all;
    };
    EXPECT_EQ(joined(NamesOf), fact.foundNames);
    EXPECT_EQ(joined(RangesOf), fact.foundRanges);
    EXPECT_EQ(module->loadedKinds, 0U);
  }
}

TEST_P(Dwarf1NameIndex, SetsThatRunOffTheFileDoNoHarm) {
  const struct {
    const char* section;
    Bytes set;
    Texts names, ranges;
  } facts[] = {
      {".debug_pubnames",
       Bytes().u32(0x1000).u8(1).u32(0).u32(0).u32(8).text("x").u32(8).raw({'c', 'u', 't'}),
       {"cut", "x"},
       {}},
      {".debug_pubnames", Bytes().u32(0x1000).u8(1).u32(0), {}, {}},
      {".debug_pubnames", Bytes().u32(0x1000), {}, {}},
      {".debug_aranges", Bytes().u32(0).u8(1).u32(0).u32(16).u32(4).u32(32), {}, {"32..30", "16..19"}},
  };
  for (const auto& fact : facts) {
    const RawBytes bytes =
        EndingWith(ThreeUnits(GetParam()).section(fact.section), fact.set.In(GetParam()), 0x7FFFFFFF);
    const DescModule* module = LoadPath(TempFolder::OfProcess().Write("cut.elf", bytes));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(NamesOf(module), fact.names);
    EXPECT_EQ(RangesOf(module), fact.ranges);
  }
}

TEST_P(Dwarf1NameIndex, FindersFillOnlyWhatTheyMust) {
  const auto filledOf = [&] {
    return Listed(table.Modules(), [](const DescModule& module) { return std::to_string(module.loadedKinds); });
  };
  const struct {
    const char* what;
    bool hasNames, hasRanges;
    const char* name;  // or null for the address
    uint32_t address;
    FindKind kind;
    int found;  // index of the module, -1 for none
    Texts filledKinds;
  } facts[] = {
      {"name on the index", true, true, "proc b", 0, 0, 1, {"0", "7"}},
      {"name of a folded unit", true, true, "proc c", 0, 0, 1, {"0", "7"}},
      {"name not on the index", true, true, "var a", 0, 0, -1, {"0", "0"}},
      {"without an index", false, true, "var c", 0, 2, 1, {"7", "7"}},
      {"first address of a range", true, true, nullptr, 16, 0, 0, {"7", "0"}},
      {"last address of a range", true, true, nullptr, 31, 1, 0, {"7", "0"}},
      {"behind the range", true, true, nullptr, 32, 0, -1, {"0", "0"}},
      {"variable at a fixed address", true, false, nullptr, 103, 2, 0, {"7", "0"}},
      {"behind the variable", true, false, nullptr, 104, 2, -1, {"7", "7"}},
      {"procedure", true, false, nullptr, 16, 1, 0, {"7", "0"}},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    ElfFile file = ThreeUnits(GetParam());
    if (fact.hasNames) {
      file.section(".debug_pubnames", NameSet("a", {"proc a"}), NameSet("b", {"proc b"}), NameSet("c", {"proc c"}));
    }
    if (fact.hasRanges) {
      file.section(".debug_aranges", RangeSet("a", {{16, 16}}), RangeSet("b", {{200, 16}}));
    }
    DescModule* modules = Load(file);
    DescModule* found = nullptr;
    const int result = fact.name != nullptr
                           ? loader.FindModuleFromName(modules, fact.name, &found, fact.kind)
                           : loader.FindModuleFromAdr(modules, Address{fact.address}, &found, fact.kind);
    EXPECT_EQ(result, fact.found >= 0 ? 1 : 0);
    EXPECT_EQ(found, fact.found < 0 ? nullptr : fact.found == 0 ? modules : modules->next);
    EXPECT_EQ(filledOf(), fact.filledKinds);
  }
}

}  // namespace
