// The unit scan: what a unit's entry leaves, where the chain of units ends, shared types, merged neighbours.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1UnitScan);

TEST_P(Dwarf1UnitScan, UnitEntryLeavesAModule) {
  const auto unit = Dwarf1Unit({at::sibling("end"), at::text(AT_producer, "any"), at::name("sub/main.c"),
                                at::text(AT_comp_dir, "/prj"), at::data4(AT_stmt_list, 0x44), at::lowPc(0x100),
                                at::highPc(0x200), at::data4(AT_language, 2), at::block4(AT_ordering, Bytes().pad(9))})
                        .entry(TAG_typedef)
                        .label("end");
  DescModule* module = Load(Dwarf1File(GetParam(), Bytes().append(unit)));
  ASSERT_NE(module, nullptr);
  EXPECT_STREQ(module->name, "main.c");
  EXPECT_STREQ(module->directory, "/prj/sub");
  EXPECT_EQ(module->lowPc, 0x100U);
  EXPECT_EQ(module->highPc, 0x200U);
  EXPECT_EQ(module->hasRange, 1U);
  EXPECT_EQ(module->language, LANGUAGE_C);
  EXPECT_EQ(module->loadedKinds, 0U);
  EXPECT_EQ(module->ext->lineOffset, 0x44U);
  EXPECT_EQ(module->ext->unitOffset, 0U);
  EXPECT_EQ(module->ext->firstEntry, 77U);  // behind 6 bytes of header and 71 of attributes
  EXPECT_EQ(module->ext->bitNumbering, 2U);
  EXPECT_EQ(module->next, nullptr);
  EXPECT_EQ(dwarf1State.failed, 0U);
}

TEST_P(Dwarf1UnitScan, AttributesOfTheUnit) {
  const std::string longName(2000, 'n');
  const struct {
    const char* what;
    Dwarf1Attrs attrs;
    uint32_t hasRange, language, bitNumbering;
  } facts[] = {
      {"low address alone", {at::lowPc(1)}, 0, 0, 2},
      {"both addresses, 0", {at::lowPc(0), at::highPc(0)}, 1, 0, 2},
      {"C89", {at::data2(AT_language, 1)}, 0, LANGUAGE_C, 2},
      {"C++", {at::data2(AT_language, 4)}, 0, LANGUAGE_CXX, 2},
      {"Modula-2", {at::data4(AT_language, 10)}, 0, LANGUAGE_MODULA2, 2},
      {"assembler in 8 bytes", {at::data8(AT_language, 0x41, 2), at::lowPc(1), at::highPc(2)}, 1, LANGUAGE_ASSEMBLY, 2},
      {"Ada", {at::data2(AT_language, 3)}, 0, LANGUAGE_UNKNOWN, 2},
      {"TARNIX", {at::text(AT_producer, "TARNIX")}, 0, 0, 1},
      {"QUILLFORGE", {at::text(AT_producer, "QUILLFORGE"), at::lowPc(1), at::highPc(2)}, 1, 0, 1},
      {"more behind", {at::text(AT_producer, "TARNIX 2")}, 0, 0, 2},
      {"small letters", {at::text(AT_producer, "quillforge")}, 0, 0, 2},
      {"long producer", {at::text(AT_producer, std::string(300, 'T')), at::lowPc(1), at::highPc(2)}, 1, 0, 2},
      {"long name", {at::name(longName), at::lowPc(1), at::highPc(2)}, 1, 0, 2},
      {"other forms", {at::raw(AT_ordering, FORM_VENDOR_4, Bytes().u32(1)), at::lowPc(1), at::highPc(2)}, 1, 0, 2},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const DescModule* module = Load(Dwarf1File(GetParam(), Dwarf1Unit(fact.attrs)));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->hasRange, fact.hasRange);
    EXPECT_EQ(module->language, fact.language);
    EXPECT_EQ(module->ext->bitNumbering, fact.bitNumbering);
    EXPECT_LE(strlen(module->name), 1023U);
  }
}

TEST_P(Dwarf1UnitScan, NamesAreSplitAndCut) {
  const struct {
    std::string name, directory, moduleName, moduleDirectory;
  } facts[] = {
      {"main.c", "", "main.c", ""},
      {"C:\\fw\\main.c", "/ignored", "main.c", "C:\\fw"},
      {"/abs/x", "/dir", "x", "/abs"},
      {"", "", "", ""},
      {std::string(2000, 'n'), "", std::string(1023, 'n'), ""},
      {"a." + std::string(600, 'e'), "", "a." + std::string(254, 'e'), ""},
  };
  for (const auto& fact : facts) {
    const DescModule* module =
        Load(Dwarf1File(GetParam(), Dwarf1Unit({at::name(fact.name), at::text(AT_comp_dir, fact.directory)})));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->name, fact.moduleName);
    EXPECT_EQ(module->directory, fact.moduleDirectory);
  }
}

TEST_P(Dwarf1UnitScan, WhereTheChainEnds) {
  const auto a = Dwarf1Unit({at::name("a.c")});
  const auto b = Dwarf1Unit({at::name("b.c")});
  const Dwarf1Attr corrupt = at::raw(AT_ordering, 9);
  const struct {
    const char* what;
    Bytes debug;
    int built;
    Texts names;
  } facts[] = {
      {"empty section", {}, 1, {}},
      {"first length below 8", Bytes().u32(7).append(a), 1, {}},
      {"two units", Joined(a, b), 1, {"a.c", "b.c"}},
      {"no sibling", Joined(Dwarf1Unit({at::name("a.c"), at::noSibling}), b), 1, {"a.c"}},
      {"sibling 0", Joined(Dwarf1Unit({at::sibling(0), at::name("a.c")}), b), 1, {"a.c"}},
      {"sibling back", Joined(a, Dwarf1Unit({at::sibling(0), at::name("b.c")})), 1, {"a.c", "b.c"}},
      {"sibling off the section", Joined(Dwarf1Unit({at::sibling(0x4000), at::name("a.c")}), b), 1, {"a.c"}},
      {"sibling of 2^31", Joined(Dwarf1Unit({at::sibling(0x80000000), at::name("a.c")}), b), 1, {"a.c"}},
      {"padding takes 12 bytes", Joined(a, Bytes().u32(99).u16(TAG_padding).pad(6, 0xFF), b), 1, {"a.c", "b.c"}},
      {"other tag", Joined(a, Dwarf1Entries().entry(TAG_string_type), b), 0, {}},
      {"corrupt form behind the sibling", Joined(Dwarf1Unit({corrupt, at::name("a.c")}), b), 1, {"", "b.c"}},
      {"corrupt form before it", Joined(Dwarf1Unit({corrupt, at::noSibling}), b), 1, {""}},
      {"form 0 consumes nothing",
       Joined(Dwarf1Unit({at::raw(AT_ordering, FORM_NONE), at::name("a.c")}), b),
       1,
       {"a.c", "b.c"}},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const DescModule* modules = Load(Dwarf1File(GetParam(), fact.debug));
    EXPECT_EQ(built, fact.built);
    EXPECT_EQ(Names(modules), fact.names);
    EXPECT_EQ(TakeMessages(), fact.built != 0 ? Texts{} : Texts{ERROR_IN_OBJECT_FILE});
  }
}

TEST_P(Dwarf1UnitScan, AUnitBehindPaddingGoesByItsOwnOffset) {
  const auto unit = Dwarf1Unit({at::name("a.c")}).entry(TAG_global_variable, {at::name("seen")});
  DescModule* module = Fill(Dwarf1File(GetParam(), Bytes().u32(12).u16(TAG_padding).pad(6), unit));
  EXPECT_EQ(module->ext->unitOffset, 12U);
  EXPECT_EQ(VarTexts(module->vars), (Texts{"seen: undefined"}));
}

TEST_P(Dwarf1UnitScan, ACorruptFormKeepsWhatCameBefore) {
  const auto unit = Dwarf1Unit({at::lowPc(1), at::highPc(2), at::data2(AT_language, 1), at::name("a.c"),
                                at::raw(AT_ordering, 0xF), at::text(AT_comp_dir, "/prj")});
  const DescModule* module = Load(Dwarf1File(GetParam(), unit));
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(module->highPc, 2U);
  EXPECT_EQ(module->language, LANGUAGE_C);
  EXPECT_EQ(module->hasRange, 0U);
  EXPECT_STREQ(module->name, "");
}

TEST_P(Dwarf1UnitScan, SharedTypesByFundamentalType) {
  const struct {
    uint16_t machine;
    int32_t intSize;
  } machines[] = {{EM_PPC, 4}, {EM_68HC08, 2}, {9999, 4}};
  for (const auto& machine : machines) {
    const struct {
      const char* name;
      int32_t byteSize;
      uint32_t encoding;
    } facts[FT_COUNT] = {{"???", 0, 0},
                         {"char", 1, 3},
                         {"signed char", 1, 3},
                         {"unsigned char", 1, 2},
                         {"short", 2, 5},
                         {"signed short", 2, 5},
                         {"unsigned short", 2, 4},
                         {"int", machine.intSize, 5},
                         {"signed int", machine.intSize, 5},
                         {"unsigned int", machine.intSize, 4},
                         {"long", 4, 5},
                         {"signed long", 4, 5},
                         {"unsigned long", 4, 4},
                         {"void *", 4, 8},
                         {"float", 4, 6},
                         {"double", 8, 6},
                         {"long double", 16, 6},
                         {"complex", 8, 7},
                         {"double complex", 16, 7},
                         {"???", 0, 0},
                         {"void", 0, 0},
                         {"boolean", 2, 1},
                         {"long double complex", 32, 7},
                         {"label", 0, 0}};
    Load(Dwarf1File(GetParam(), Dwarf1Unit({})).machine(machine.machine));
    for (uint32_t code = 0; code < FT_COUNT; ++code) {
      const DescType* type = dwarf1State.basicTypes[code];
      EXPECT_STREQ(type->name, facts[code].name);
      EXPECT_EQ(type->byteSize, facts[code].byteSize) << type->name;
      EXPECT_EQ(type->items.encoding, facts[code].encoding) << type->name;
      EXPECT_EQ(type->key, 0U);
    }
    EXPECT_EQ(dwarf1State.basicTypes[19], dwarf1State.basicTypes[0]);
    EXPECT_STREQ(dwarf1State.undefinedType->name, "undefined");
  }
}

TEST_P(Dwarf1UnitScan, AdjacentUnitsOfOneSourceAreOneModule) {
  const auto unit = [](const char* name, const char* directory, uint32_t low) {
    return Dwarf1Unit({at::name(name), at::text(AT_comp_dir, directory), at::lowPc(low), at::highPc(low + 1)});
  };
  const auto file = Dwarf1File(GetParam(), unit("a.c", "/d", 1), unit("a.c", "/d", 2), unit("a.c", "/d", 3),
                               unit("a.c", "/e", 4), unit("A.c", "/e", 5), unit("a.c", "/d", 6), unit("", "", 7),
                               unit("", "", 8), unit("", "/f", 9), unit("", "/f", 10));
  DescModule* modules = Load(file);
  EXPECT_EQ(Names(modules), (Texts{"1:a.c", "2:a.c", "A.c", "3:a.c", "1:", "2:", "3:"}));
  EXPECT_EQ(Listed(modules, [](const DescModule& module) { return std::to_string(module.lowPc); }),
            (Texts{"0", "4", "5", "6", "7", "8", "0"}));
  EXPECT_EQ(modules->hasRange, 0U);
  EXPECT_EQ(modules->next->hasRange, 1U);
  EXPECT_EQ(Listed(modules->ext->mergedModules, [](const DescModule& module) { return std::to_string(module.lowPc); }),
            (Texts{"3", "2"}));
  EXPECT_EQ(modules->ext->mergedModules->next->heap, modules->heap);
  EXPECT_NE(modules->next->heap, modules->heap);
}

}  // namespace
