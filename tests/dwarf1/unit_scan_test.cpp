// The unit scan: what a unit's entry leaves, where the chain of units ends, shared types, merged neighbours.
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
  const std::string cut(1023, 'n');
  const struct {
    Dwarf1Attrs attrs;
    std::string module;
  } facts[] = {
      // clang-format off
      {{at::lowPc(1)}, " in  0 2"},
      {{at::lowPc(0), at::highPc(0)}, " in  0-0 0 2"},
      {{at::data2(AT_language, 1)}, " in  3 2"},
      {{at::data2(AT_language, 2)}, " in  3 2"},
      {{at::data2(AT_language, 4)}, " in  4 2"},
      {{at::data4(AT_language, 10)}, " in  2 2"},
      {{at::data8(AT_language, 0x41, 2), at::lowPc(1), at::highPc(2)}, " in  1-2 1 2"},
      {{at::data2(AT_language, 3)}, " in  0 2"},
      {producer("TARNIX"), " in  1-2 0 1"},
      {producer("QUILLFORGE"), " in  1-2 0 1"},
      {producer("TARNIX 2"), " in  1-2 0 2"},
      {producer("quillforge"), " in  1-2 0 2"},
      {producer(std::string(300, 'T')), " in  1-2 0 2"},
      {{at::raw(AT_ordering, FORM_VENDOR_4, Bytes().u32(1)), at::lowPc(1), at::highPc(2)}, " in  1-2 0 2"},
      {named("main.c", ""), "main.c in  0 2"},
      {named("C:\\fw\\main.c", "/ignored"), "main.c in C:\\fw 0 2"},
      {named("/abs/x", "/dir"), "x in /abs 0 2"},
      {named(std::string(2000, 'n'), ""), cut + " in  0 2"},
      {named("a." + std::string(600, 'e'), ""), "a." + std::string(254, 'e') + " in  0 2"},
      // A corrupt form keeps what came before it, but for the name and the range.
      {{at::lowPc(1), at::highPc(2), at::data2(AT_language, 1), at::name("a.c"), at::raw(AT_ordering, 0xF),
        at::text(AT_comp_dir, "/prj")}, " in  3 2"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    const DescModule* module = Load(Dwarf1File(GetParam(), Dwarf1Unit(fact.attrs)));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(ModuleText(*module), fact.module);
  }
}

TEST_P(Dwarf1UnitScan, PlacesInTheFile) {
  const auto unit = Dwarf1Unit({at::sibling("end"), at::text(AT_producer, "any"), at::name("sub/main.c"),
                                at::text(AT_comp_dir, "/prj"), at::data4(AT_stmt_list, 0x44), at::lowPc(0x100),
                                at::highPc(0x200), at::data4(AT_language, 2), at::block4(AT_ordering, Bytes().pad(9))})
                        .entry(TAG_global_variable, {at::name("seen")})
                        .label("end");
  for (const uint32_t padding : {0U, 12U}) {  // a unit behind padding goes by its own offset
    const Bytes front = padding == 0 ? Bytes() : Bytes().u32(12).u16(TAG_padding).pad(6);
    DescModule* module = Fill(Dwarf1File(GetParam(), front, Bytes().append(unit)));
    EXPECT_EQ(ModuleText(*module), "main.c in /prj/sub 256-512 3 2");
    EXPECT_EQ(module->ext->lineOffset, 0x44U);
    EXPECT_EQ(module->ext->unitOffset, padding);
    EXPECT_EQ(module->ext->firstEntry, padding + 77);  // behind 6 bytes of header and 71 of attributes
    EXPECT_EQ(VarTexts(module->vars), (Texts{"seen: undefined"}));
  }
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
    int built = 1;
  } facts[] = {
      // clang-format off
      {"empty section", {}, {}},
      {"first length below 8", Bytes().u32(7).append(a), {}},
      {"two units", Joined(a, b), both},
      {"no sibling", Joined(unit({at::name("a.c"), at::noSibling}), b), {"a.c"}},
      {"sibling 0", Joined(unit({at::sibling(0), at::name("a.c")}), b), {"a.c"}},
      {"sibling back", Joined(a, unit({at::sibling(0), at::name("b.c")})), both},
      {"sibling off the section", Joined(unit({at::sibling(0x4000), at::name("a.c")}), b), {"a.c"}},
      {"sibling of 2^31", Joined(unit({at::sibling(0x80000000), at::name("a.c")}), b), {"a.c"}},
      {"padding takes 12 bytes", Joined(a, Bytes().u32(99).u16(TAG_padding).pad(6, 0xFF), b), both},
      {"other tag", Joined(a, Dwarf1Entries().entry(TAG_string_type), b), {}, 0},
      {"corrupt form behind the sibling", Joined(unit({corrupt, at::name("a.c")}), b), {"", "b.c"}},
      {"corrupt form before it", Joined(unit({corrupt, at::noSibling}), b), {""}},
      {"form 0 consumes nothing", Joined(unit({at::raw(AT_ordering, FORM_NONE), at::name("a.c")}), b), both},
      // clang-format on
  };
  for (const auto& fact : facts) {
    EXPECT_EQ(Names(Load(Dwarf1File(GetParam(), fact.debug))), fact.names) << fact.what;
    EXPECT_EQ(built, fact.built) << fact.what;
    EXPECT_EQ(TakeMessages(), fact.built != 0 ? Texts{} : Texts{ERROR_IN_OBJECT_FILE});
  }
}

TEST_P(Dwarf1UnitScan, SharedTypesByFundamentalType) {
  for (const auto& [machine, size] : {std::pair{int{EM_PPC}, "4 "}, {EM_68HC08, "2 "}, {9999, "4 "}}) {
    const std::string intSize = size;
    const Texts types = {// name, size, encoding
                         "??? 0 0",
                         "char 1 3",
                         "signed char 1 3",
                         "unsigned char 1 2",
                         "short 2 5",
                         "signed short 2 5",
                         "unsigned short 2 4",
                         "int " + intSize + "5",
                         "signed int " + intSize + "5",
                         "unsigned int " + intSize + "4",
                         "long 4 5",
                         "signed long 4 5",
                         "unsigned long 4 4",
                         "void * 4 8",
                         "float 4 6",
                         "double 8 6",
                         "long double 16 6",
                         "complex 8 7",
                         "double complex 16 7",
                         "??? 0 0",
                         "void 0 0",
                         "boolean 2 1",
                         "long double complex 32 7",
                         "label 0 0"};
    Load(Dwarf1File(GetParam(), Dwarf1Unit({})).machine(static_cast<uint16_t>(machine)));
    for (uint32_t code = 0; code < FT_COUNT; ++code) {
      const DescType* type = dwarf1State.basicTypes[code];
      EXPECT_EQ(type->name + (" " + std::to_string(type->byteSize)) + " " + std::to_string(type->items.encoding),
                types.at(code));
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
  DescModule* modules = Load(Dwarf1File(GetParam(), unit("a.c", "/d", 1), unit("a.c", "/d", 2), unit("a.c", "/d", 3),
                                        unit("a.c", "/e", 4), unit("A.c", "/e", 5), unit("a.c", "/d", 6),
                                        unit("", "", 7), unit("", "", 8), unit("", "/f", 9), unit("", "/f", 10)));
  EXPECT_EQ(Listed(modules, ModuleText),
            (Texts{"1:a.c in /d 0 2", "2:a.c in /e 4-5 0 2", "A.c in /e 5-6 0 2", "3:a.c in /d 6-7 0 2",
                   "1: in  7-8 0 2", "2: in  8-9 0 2", "3: in /f 0 2"}));
  EXPECT_EQ(modules->lowPc, 0U);
  EXPECT_EQ(Listed(modules->ext->mergedModules, [](const DescModule& module) { return std::to_string(module.lowPc); }),
            (Texts{"3", "2"}));
  EXPECT_EQ(modules->ext->mergedModules->next->heap, modules->heap);
  EXPECT_NE(modules->next->heap, modules->heap);
}

}  // namespace
