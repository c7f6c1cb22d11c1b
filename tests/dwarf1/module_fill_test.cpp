// The fill: which entry goes where, by tag and place; the walks and what ends them; labels; merged units.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1ModuleFill);

const Dwarf1Attr corrupt = at::raw(AT_ordering, 9);

Dwarf1Attrs Named(const std::string& name, uint32_t low, uint32_t high) {
  return {at::name(name), at::lowPc(low), at::highPc(high)};
}

TEST_P(Dwarf1ModuleFill, ProceduresHoldTheirScopes) {
  const auto var = [](const char* name) { return Dwarf1Attrs{at::name(name), at::fundType(FT_char), at::address(1)}; };
  // clang-format off
  const DescModule* module = FillEntries(Dwarf1Entries()
      .parent(TAG_global_subroutine, {at::text(AT_prototyped, std::string(600, 'p')), at::name("main"), at::lowPc(16),
                                      at::highPc(32), at::fundType(FT_integer)})
          .entry(TAG_formal_parameter, var("argc"))
          .parent(TAG_lexical_block, {at::lowPc(20), at::block2(AT_ordering, Bytes().pad(5)), at::highPc(30)})
              .entry(TAG_local_variable, var("inner"))
              .parent(TAG_lexical_block, {at::lowPc(24)}).entry(TAG_local_variable, var("innermost")).end()
              .entry(TAG_formal_parameter, var("odd")).entry(TAG_local_variable, var("inner again")).end()
          .entry(TAG_label, Named("lost", 1, 2)).entry(TAG_local_variable, var("last"))
          .entry(TAG_unspecified_parameters).entry(TAG_unspecified_parameters, var("rest"))
      .end().parent(TAG_subroutine, Named("helper", 40, 50)));
  // clang-format on
  EXPECT_EQ(filled, 1) << reason;
  EXPECT_EQ(ProcTexts(module->procs), (Texts{"main: int 16..32", "helper: void 40..50"}));
  EXPECT_EQ(module->procs->prototyped, 1U);
  EXPECT_EQ(VarTexts(module->procs->params),
            (Texts{"argc: char", "odd: char @20..30", "...: undefined", "rest: char"}));
  EXPECT_EQ(VarTexts(module->procs->locals), (Texts{"inner: char @20..30", "innermost: char @24..4294967295",
                                                    "inner again: char @20..30", "last: char"}));
}

// An entry of each tag, with a structure among its children, at each place. What is on the lists goes by place;
// the structure is read at all of them but under an array, an enumeration and a typedef, whose children nobody visits.
TEST_P(Dwarf1ModuleFill, EveryTagAtEveryPlace) {
  for (uint32_t tag = 1; tag < 0x24; ++tag) {
    SCOPED_TRACE(tag);
    const auto entry = [&](const std::string& place) {
      const auto inside = Dwarf1Entries().entry(TAG_structure_type, {at::name("in " + place)});
      return Dwarf1Entries().parent(tag, {at::name(place)}).append(inside).end();
    };
    // clang-format off
    const DescModule* module = FillEntries(Dwarf1Entries().append(entry("module"))
        .parent(TAG_global_subroutine, {at::name("proc")}).append(entry("scope")).end()
        .parent(TAG_class_type, {at::name("aggregate")}).append(entry("member")).end()
        .parent(TAG_subroutine_type, {at::name("function")}).append(entry("argument")).end()
        .parent(TAG_lexical_block).append(entry("anywhere")).end());
    // clang-format on
    EXPECT_EQ(filled, 1) << reason;
    const auto among = [tag](std::initializer_list<uint32_t> tags) { return std::ranges::count(tags, tag) != 0; };
    const auto when = [](bool is, const char* name) { return is ? Texts{name} : Texts{}; };
    const bool isParameter = among({TAG_formal_parameter, TAG_unspecified_parameters});
    const bool isNamedType = among(
        {TAG_class_type, TAG_enumeration_type, TAG_structure_type, TAG_union_type, TAG_subroutine_type, TAG_typedef});
    Texts procs = when(among({TAG_global_subroutine, TAG_subroutine, TAG_label}), "module");
    procs.emplace_back("proc");
    EXPECT_EQ(Names(module->procs), procs);
    EXPECT_EQ(Names(module->vars), when(among({TAG_global_variable, TAG_local_variable}), "module"));
    const DescProc* proc = Find(module->procs, "proc");
    EXPECT_EQ(Names(proc->locals), when(tag == TAG_local_variable, "scope"));
    EXPECT_EQ(Names(proc->params), when(isParameter, "scope"));
    const DescType* aggregate = Find(module->types, "aggregate");
    EXPECT_EQ(Names(aggregate->items.members), when(tag == TAG_member, "member"));
    EXPECT_EQ(Names(aggregate->target.memberFunctions), when(tag == TAG_global_subroutine, "member"));
    EXPECT_EQ(Names(Find(module->types, "function")->items.params), when(isParameter, "argument"));
    const Texts types = Names(module->types);
    for (const char* place : {"module", "scope", "member", "anywhere"}) {
      EXPECT_EQ(std::ranges::count(types, place), isNamedType ? 1 : 0) << place;
    }
    EXPECT_EQ(std::ranges::count(types, "argument"), 0) << "a type directly under a subroutine type";
    const bool hides = among({TAG_array_type, TAG_enumeration_type, TAG_typedef, TAG_subroutine_type});
    EXPECT_EQ(std::ranges::count(types, "in anywhere"), hides ? 0 : 1);
  }
}

TEST_P(Dwarf1ModuleFill, LabelsBeforeProcedures) {
  const auto label = [](uint32_t low, uint32_t high) { return Named("L" + std::to_string(low), low, high); };
  // clang-format off
  const DescModule* module = Fill(Dwarf1Unit({at::name("a.c"), at::lowPc(0), at::highPc(0x400)})
      .entry(TAG_subroutine, Named("p1", 9, 10)).entry(TAG_label, label(300, 0)).entry(TAG_label, label(100, 0))
      .entry(TAG_subroutine, Named("p0", 1, 2)).entry(TAG_label, label(200, 222)).entry(TAG_label, label(500, 0)));
  // clang-format on
  EXPECT_EQ(ProcTexts(module->procs), (Texts{"L100: void 100..200", "L200: void 200..222", "L300: void 300..500",
                                             "L500: void 500..1024", "p1: void 9..10", "p0: void 1..2"}));
}

TEST_P(Dwarf1ModuleFill, WhatEndsTheWalkAtModuleLevel) {
  const auto with = [](const Dwarf1Attrs& attrs) { return Dwarf1Entries().entry(TAG_global_variable, attrs); };
  const auto var = [&](const char* name) { return with({at::name(name)}); };
  const auto to = [&](const char* name, const char* sibling) { return with({at::sibling(sibling), at::name(name)}); };
  const struct {
    const char* what;
    Bytes entries;
    int filled;
    Texts vars;
  } facts[] = {
      // clang-format off
      {"null entry of 7 bytes", Joined(var("a"), Bytes().u32(7), var("b")), 1, {"a"}},
      {"sibling 0", Joined(with({at::sibling(0), at::name("a")}), var("b")), 1, {"a"}},
      {"no sibling", Joined(with({at::name("a"), at::noSibling}), var("b")), 0, {"a"}},
      {"a circle", Joined(Bytes().label("a"), var("a"), to("b", "a")), 0, {"a", "b"}},
      {"back, in no circle", Joined(to("a", "2"), Bytes().label("3"), to("c", "4"), Bytes().label("2"), to("b", "3"),
                                    Bytes().label("4"), var("d")), 1, {"a", "b", "c", "d"}},
      {"a circle after a step back", Joined(to("a", "y"), Bytes().label("x"), to("c", "y"), Bytes().label("y"),
       to("b", "x")),
       0, {"a", "b", "c"}},
      {"padding by its length", Joined(Bytes().u32(20).u16(TAG_padding).pad(14, 9), var("a")), 1, {"a"}},
      {"corrupt form after the sibling", Joined(with({at::name("a"), corrupt, at::name("x")}), var("b")), 0, {"a",
       "b"}},
      {"form 0", Joined(with({at::raw(AT_ordering, 0), at::name("a")})), 0, {"a"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    const DescModule* module = FillEntries(Dwarf1Entries().append(fact.entries));
    EXPECT_EQ(filled, fact.filled) << fact.what << reason;
    EXPECT_EQ(Names(module->vars), fact.vars) << fact.what;
    EXPECT_EQ(module->loadedKinds, 7U);
  }
}

TEST_P(Dwarf1ModuleFill, WhatEndsAWalkOverChildren) {
  const auto member = [](const char* name, const Dwarf1Attr& sibling) {
    return Dwarf1Entries().entry(TAG_member, {sibling, at::name(name)});
  };
  const auto plain = [](const char* name) { return Dwarf1Entries().entry(TAG_member, {at::name(name)}); };
  const struct {
    const char* what;
    Bytes children;
    int filled;
    Texts members;
  } facts[] = {
      // clang-format off
      {"siblings over a gap", Joined(member("a", at::sibling("far")), Bytes().pad(9).label("far"), plain("b")), 1,
       {"a", "b"}},
      {"first child without a sibling", Joined(member("a", at::noSibling), plain("b")), 1, {"a", "b"}},
      {"later child without one", Joined(plain("a"), member("b", at::noSibling), plain("c")), 0, {"a", "b"}},
      {"sibling to itself", Joined(Bytes().label("b"), member("b", at::sibling("b"))), 0, {"b"}},
      {"sibling back", Joined(Bytes().label("a"), plain("a"), member("b", at::sibling("a"))), 0, {"a", "b"}},
      {"sibling off the file", Joined(member("a", at::sibling(0x80000000)), plain("b")), 1, {"a"}},
      {"sibling past the parent's end", Joined(member("a", at::sibling("out")), plain("b")), 1, {"a", "out"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    // clang-format off
    const DescModule* module = FillEntries(Dwarf1Entries()
        .parent(TAG_structure_type, {at::name("s")}).append(fact.children).end()
        .entry(TAG_global_variable, {at::name("after")}).label("out").entry(TAG_member, {at::name("out")}));
    // clang-format on
    EXPECT_EQ(filled, fact.filled) << fact.what << reason;
    ASSERT_NE(module->types, nullptr);
    EXPECT_EQ(Names(module->types->items.members), fact.members) << fact.what;
    EXPECT_EQ(Names(module->vars), Texts{"after"});
  }
}

TEST_P(Dwarf1ModuleFill, CorruptFormsKeepWhatIsAround) {
  const auto bitOffset = at::raw(AT_bit_offset, FORM_DATA2, Bytes().u16(1));
  // clang-format off
  const DescModule* module = FillEntries(Dwarf1Entries()
      .parent(TAG_global_subroutine, {at::name("p"), at::lowPc(4), corrupt})  // the sibling came before
          .entry(TAG_local_variable, {at::name("z")}).end()
      .parent(TAG_global_subroutine, {at::name("q")})
          .parent(TAG_lexical_block, {at::lowPc(8), corrupt})
              .entry(TAG_local_variable, {at::name("x"), at::address(0)}).end()
          .entry(TAG_local_variable, {at::name("y"), bitOffset, corrupt}).end()
      .parent(TAG_string_type, {corrupt}).entry(TAG_typedef, {at::name("t")}).end()
      .entry(TAG_array_type, {at::byteSize(8), corrupt})
      .entry(TAG_enumeration_type, {at::byteSize(2), corrupt})
      .entry(TAG_label, {at::name("l"), at::lowPc(1), corrupt}));
  // clang-format on
  EXPECT_EQ(filled, 0);
  EXPECT_EQ(reason, "an attribute has the unassigned form 0x9");
  EXPECT_EQ(ProcTexts(module->procs), (Texts{"l: void 1..0", "p: void 4..0", "q: void 0..0"}));
  EXPECT_EQ(VarTexts(Find(module->procs, "q")->locals), (Texts{"x: undefined @8..4294967295", "y: undefined"}));
  EXPECT_EQ(TypeTexts(module), (Texts{"typedef t", "undefined", "enum enum"}));
  EXPECT_EQ(module->ext->pendingArrays, nullptr) << "the array is not settled";
  EXPECT_EQ(module->ext->pendingFields, nullptr) << "nor the bit field";
}

TEST_P(Dwarf1ModuleFill, NestingHasALimit) {
  for (const auto& [levels, succeeds] : {std::pair{600, 1}, {1500, 0}, {100000, 0}}) {
    Dwarf1Entries nested;
    for (int level = 0; level < levels; ++level) {
      nested.u32(12).u16(TAG_lexical_block).u16(AT_sibling | +FORM_REF).ref("end");
    }
    const DescModule* module = FillEntries(
        nested.entry(TAG_typedef, {at::name("deepest")}).label("end").entry(TAG_global_variable, {at::name("after")}));
    EXPECT_EQ(filled, succeeds) << levels;
    EXPECT_EQ(reason, succeeds != 0 ? "" : "entries are nested deeper than 1000 levels");
    EXPECT_EQ(module->typeCount, static_cast<uint32_t>(succeeds));
    EXPECT_EQ(Names(module->vars), Texts{"after"});
  }
}

TEST_P(Dwarf1ModuleFill, MergedUnitsBecomeOne) {
  const auto unit = [](const std::string& number) {
    const auto named = [&](const std::string& what) { return at::name(what + number); };
    // clang-format off
    return Dwarf1Unit({at::name("a.c")})
        .entry(TAG_global_variable, {named("var"), at::userType("node")})
        .parent(TAG_global_subroutine, {named("proc"), at::raw(AT_user_def_type, FORM_REF, Bytes().u32(0x7777))}).end()
        .entry(TAG_label, {named("label"), at::lowPc(8)})
        .entry(TAG_array_type, {named("array"), Subscripts({{0, 3}}, at::fundType(FT_short))})
        .parent(TAG_structure_type, {named("bits")})
            .entry(TAG_member, {named("bit"), at::fundType(FT_short), at::data2(AT_bit_offset, 1),
                at::data4(AT_bit_size, 2)})
            .end();
    // clang-format on
  };
  const auto node =
      Dwarf1Unit({at::name("a.c")}).label("node").entry(TAG_structure_type, {at::name("node"), at::byteSize(12)});
  const auto failing = Dwarf1Unit({at::name("a.c")}).entry(TAG_global_variable, {at::name("x"), corrupt});
  const auto file = [&](const auto&... units) { return Dwarf1File(GetParam(), units...); };
  // The structure is defined in the first unit, in the last one, and in none of those that are compared.
  const struct {
    const char* what;
    ElfFile file;
    int filled;
    Texts vars, types, typesOfFolded;
  } facts[] = {
      // clang-format off
      {"two, definition after", file(unit("1"), node), 1, {"var1: struct node"},
       {"struct node", "undefined", "[0..3]short", "struct bits1"}, {"struct node"}},
      {"two, definition in front", file(node, unit("1")), 1, {"var1: struct node"},
       {"struct node"}, {"struct node", "undefined", "[0..3]short", "struct bits1"}},
      {"three", file(unit("1"), unit("2"), node), 1, {"var1: struct node", "var2: struct node"},
       {"struct node", "undefined", "[0..3]short", "struct bits1"}, {"struct node"}},
      {"three, two of them folded", file(Dwarf1Unit({at::name("a.c")}), unit("1"), node), 1, {"var1: undefined"},
       {}, {"struct node"}},
      {"a folded unit that fails", file(node, failing), 0, {"x: undefined"}, {"struct node"}, {}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const DescModule* module = Fill(fact.file);
    EXPECT_EQ(filled, fact.filled);
    EXPECT_EQ(VarTexts(module->vars), fact.vars);
    EXPECT_EQ(TypeTexts(module), fact.types);
    const DescModule* folded = module->ext->mergedModules;
    EXPECT_EQ(TypeTexts(folded), fact.typesOfFolded);
    EXPECT_EQ(folded->vars, nullptr);
    EXPECT_EQ(folded->procs, nullptr);
    EXPECT_EQ(folded->loadedKinds, 7U);
    EXPECT_EQ(folded->ext->pendingArrays, nullptr);
  }

  // Three units with procedures: the lists follow one another as first, last, last but one; pending records come along.
  const DescModule* module = Fill(file(unit("1"), unit("2"), unit("3"), Bytes().label("node")));
  EXPECT_EQ(Names(module->procs), (Texts{"label1", "proc1", "label3", "proc3", "label2", "proc2"}));
  EXPECT_EQ(Names(module->vars), (Texts{"var1", "var3", "var2"}));
  const auto count = [](L_list* list) { return HostListed<int>(list, [](int) { return ""; }).size(); };
  EXPECT_EQ(count(module->ext->pendingArrays), 3U);
  EXPECT_EQ(count(module->ext->pendingFields), 3U);
}

// Texts and blocks that the file ends are failures; a length of 2^31 skips nothing.
TEST_P(Dwarf1ModuleFill, WhatTheFileCannotBack) {
  const struct {
    Bytes attributes;  // of a variable; the file ends after them
    const char* reason;
    uint32_t tag = TAG_global_variable;
  } facts[] = {
      {Bytes().u16(AT_name | +FORM_STRING).raw({'a', 'b'}), "the file ends in a text"},
      {Bytes().u16(AT_producer | +FORM_STRING).raw({'a'}), "the file ends in a text"},
      {Bytes().u16(AT_location | +FORM_BLOCK2).u16(500).u8(OP_ADDR), "the file ends in a location"},
      {Bytes().u16(AT_element_list | +FORM_BLOCK4).u32(500).u32(1).text("A"), "the file ends in a list of enumerators",
       TAG_enumeration_type},
      {Bytes().u16(AT_ordering | +FORM_BLOCK4).u32(0x80000000), "an entry without a sibling, or siblings in a circle"},
  };
  for (const auto& fact : facts) {
    Bytes debug = Bytes().append(Dwarf1Entries().entry(TAG_compile_unit, {at::name("a.c"), at::sibling(0)}));
    debug.u32(fact.attributes.size() + 6).u16(fact.tag).append(fact.attributes);
    const DescModule* module = Fill(EndingWith(Dwarf1File(GetParam(), Bytes()), debug.In(GetParam()), debug.size()));
    EXPECT_EQ(reason, fact.reason);
    EXPECT_STREQ(failure.Unit(), "a.c");
    EXPECT_STREQ(failure.Section(), ".debug");
    EXPECT_TRUE(module->vars != nullptr || module->typeCount == 1);
  }
}

}  // namespace
