// The unit scan: what a unit's entry leaves, where the chain of units ends, what a build owns, merged neighbours.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1UnitScan);

// "name in directory low-high language bitNumbering", without the addresses where the unit has no range.
std::string ModuleText(const DescModule& module) {
  const std::string range = std::to_string(module.lowPc) + "-" + std::to_string(module.highPc) + " ";
  return module.name + (" in " + std::string(module.directory)) + " " + (module.hasRange != 0 ? range : "") +
         std::to_string(module.language) + " " + std::to_string(module.ext->bitNumbering);
}

TEST_P(Dwarf1UnitScan, AttributesOfTheUnit) {
  const auto named = [](const std::string& name, const std::string& directory) {
    return Dwarf1Attrs{at::name(name), at::text(AT_comp_dir, directory)};
  };
  const auto producer = [](const std::string& text) {
    return Dwarf1Attrs{at::text(AT_producer, text), at::lowPc(1), at::highPc(2)};
  };
  const struct {
    Dwarf1Attrs attrs;
    std::string module;
  } facts[] = {
      // clang-format off
      {{at::lowPc(1)}, " in  0 2"},
      {{at::lowPc(0), at::highPc(0)}, " in  0-0 0 2"},
      {{at::data2(AT_language, 2)}, " in  3 2"},
      {{at::data4(AT_language, 10)}, " in  2 2"},
      {{at::data8(AT_language, 0x41, 2), at::lowPc(1), at::highPc(2)}, " in  1-2 1 2"},
      {{at::data2(AT_language, 3)}, " in  0 2"},
      {producer("TARNIX"), " in  1-2 0 1"},
      {producer("TARNIX 2"), " in  1-2 0 2"},
      {producer(std::string(300, 'T')), " in  1-2 0 2"},
      {{at::raw(AT_ordering, FORM_VENDOR_4, Bytes().u32(1)), at::lowPc(1), at::highPc(2)}, " in  1-2 0 2"},
      {named("C:\\fw\\main.c", "/ignored"), "main.c in C:\\fw 0 2"},
      {named("/abs/x", "/dir"), "x in /abs 0 2"},
      {named(std::string(2000, 'n'), ""), std::string(1023, 'n') + " in  0 2"},
      {named("a." + std::string(600, 'e'), ""), "a." + std::string(254, 'e') + " in  0 2"},
      // An unassigned form keeps what came before it, but for the name and the range.
      {{at::lowPc(1), at::highPc(2), at::data2(AT_language, 1), at::name("a.c"), at::raw(AT_ordering, 0xF),
        at::text(AT_comp_dir, "/prj")}, " in  3 2"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    const DescModule* module = Read(Dwarf1File(GetParam(), Dwarf1Unit(fact.attrs)));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(ModuleText(*module), fact.module);
  }
}

// A unit after padding goes by its own offset. Its first entry is after its own, wherever the sibling leads.
TEST_P(Dwarf1UnitScan, PlacesInTheFile) {
  const auto unit = Dwarf1Unit({at::name("sub/main.c"), at::text(AT_comp_dir, "/prj"), at::data4(AT_stmt_list, 0x44),
                                at::block4(AT_ordering, Bytes().pad(9))})
                        .entry(TAG_global_variable, {at::name("seen")});
  const DescModule* module = Fill(Dwarf1File(GetParam(), Bytes().u32(12).u16(TAG_padding).pad(6), unit));
  EXPECT_EQ(ModuleText(*module), "main.c in /prj/sub 0 2");
  EXPECT_EQ(module->ext->lineOffset, 0x44U);
  EXPECT_EQ(module->ext->unitOffset, 12U);
  EXPECT_EQ(module->ext->firstEntry, 12U + 6 + 6 + 13 + 7 + 6 + 15);
  EXPECT_EQ(VarTexts(module->vars), (Texts{"seen: undefined"}));
}

TEST_P(Dwarf1UnitScan, WhereTheChainEnds) {
  const auto unit = [](const Dwarf1Attrs& attrs) { return Dwarf1Unit(attrs); };
  const auto a = unit({at::name("a.c")});
  const auto b = unit({at::name("b.c")});
  const Dwarf1Attr corrupt = at::raw(AT_ordering, 9);
  const Texts both = {"a.c", "b.c"};
  const struct {
    const char* what;
    Bytes debug;
    Texts names;
    std::string reason;
  } facts[] = {
      // clang-format off
      {"empty section", {}, {}, ""},
      {"first length below 8", Bytes().u32(7).append(a), {}, ""},
      {"two units", Joined(a, b), both, ""},
      {"no sibling", Joined(unit({at::name("a.c"), at::noSibling}), b), {"a.c"}, ""},
      {"sibling 0", Joined(unit({at::sibling(0), at::name("a.c")}), b), {"a.c"}, ""},
      {"sibling back", Joined(a, unit({at::sibling(0), at::name("b.c")})), both, ""},
      {"sibling off the section", Joined(unit({at::sibling(0x4000), at::name("a.c")}), b), {"a.c"}, ""},
      {"sibling of 2^31", Joined(unit({at::sibling(0x80000000), at::name("a.c")}), b), {"a.c"}, ""},
      {"padding takes 12 bytes", Joined(a, Bytes().u32(99).u16(TAG_padding).pad(6, 0xFF), b), both, ""},
      {"other tag", Joined(a, Dwarf1Entries().entry(TAG_string_type), b), {},
       "an entry with tag 0x12 is between the units"},
      {"unassigned form after the sibling", Joined(unit({corrupt, at::name("a.c")}), b), {"", "b.c"}, ""},
      {"unassigned form before it", Joined(unit({corrupt, at::noSibling}), b), {""}, ""},
      {"form 0 consumes nothing", Joined(unit({at::raw(AT_ordering, FORM_NONE), at::name("a.c")}), b), both, ""},
      // clang-format on
  };
  for (const auto& fact : facts) {
    EXPECT_EQ(Names(Read(Dwarf1File(GetParam(), fact.debug))), fact.names) << fact.what;
    EXPECT_EQ(failure.Text(), fact.reason) << fact.what;
    EXPECT_EQ(built, fact.reason.empty() ? 1 : 0) << fact.what;
  }
}

TEST_P(Dwarf1UnitScan, AdjacentUnitsOfOneSourceAreOneModule) {
  const auto unit = [](const char* name, const char* directory, uint32_t low) {
    return Dwarf1Unit({at::name(name), at::text(AT_comp_dir, directory), at::lowPc(low), at::highPc(low + 1)});
  };
  const DescModule* modules =
      Read(Dwarf1File(GetParam(), unit("a.c", "/d", 1), unit("a.c", "/d", 2), unit("a.c", "/d", 3),
                      unit("a.c", "/e", 4), unit("A.c", "/e", 5), unit("a.c", "/d", 6), unit("", "", 7),
                      unit("", "", 8), unit("", "/f", 9), unit("", "/f", 10)));
  EXPECT_EQ(Listed(modules, ModuleText), (Texts{"a.c in /d 0 2", "a.c in /e 4-5 0 2", "A.c in /e 5-6 0 2",
                                                "a.c in /d 6-7 0 2", " in  7-8 0 2", " in  8-9 0 2", " in /f 0 2"}));
  EXPECT_EQ(modules->lowPc, 0U);
  EXPECT_EQ(Listed(modules->ext->mergedModules, [](const DescModule& module) { return std::to_string(module.lowPc); }),
            (Texts{"3", "2"}));
  EXPECT_EQ(modules->ext->mergedModules->next->heap, modules->heap);
  EXPECT_NE(modules->next->heap, modules->heap);
}

}  // namespace
