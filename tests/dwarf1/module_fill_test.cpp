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
  const DescModule* module = FillEntries(
      Dwarf1Entries()
          .parent(TAG_global_subroutine, {at::text(AT_prototyped, std::string(600, 'p')), at::name("main"),
                                          at::lowPc(16), at::highPc(32), at::fundType(FT_integer)})
          .entry(TAG_formal_parameter, var("argc"))
          .entry(TAG_local_variable, var("first"))
          .parent(TAG_lexical_block, {at::lowPc(20), at::block2(AT_ordering, Bytes().pad(5)), at::highPc(30)})
          .entry(TAG_local_variable, var("inner"))
          .parent(TAG_lexical_block, {at::lowPc(24)})
          .entry(TAG_local_variable, var("innermost"))
          .end()
          .entry(TAG_formal_parameter, var("odd"))
          .entry(TAG_local_variable, var("inner again"))
          .end()
          .entry(TAG_label, Named("lost", 1, 2))
          .entry(TAG_local_variable, var("last"))
          .entry(TAG_unspecified_parameters)
          .entry(TAG_unspecified_parameters, var("rest"))
          .parent(TAG_subroutine, Named("nested", 1, 2))
          .entry(TAG_structure_type, {at::name("deep")})
          .entry(TAG_local_variable, var("unseen"))
          .end()
          .end()
          .parent(TAG_subroutine, Named("helper", 40, 50)));
  EXPECT_EQ(filled, 1) << failure;
  EXPECT_EQ(ProcTexts(module->procs), (Texts{"main: int 16..32", "helper: void 40..50"}));
  EXPECT_EQ(module->procs->prototyped, 1U);
  EXPECT_EQ(module->procs->next->prototyped, 0U);
  EXPECT_EQ(VarTexts(module->procs->params),
            (Texts{"argc: char", "odd: char @20..30", "...: undefined", "rest: char"}));
  EXPECT_EQ(VarTexts(module->procs->locals),
            (Texts{"first: char", "inner: char @20..30", "innermost: char @24..4294967295", "inner again: char @20..30",
                   "last: char"}));
  EXPECT_EQ(TypeTexts(module), (Texts{"struct deep"}));
}

TEST_P(Dwarf1ModuleFill, EveryTagAtEveryPlace) {
  // An entry of each tag, with a structure among its children, at each place. What stands on the lists is told by
  // place; the structure is read at all of them but under an array, an enumeration and a typedef, whose children nobody
  // visits.
  for (uint32_t tag = 1; tag < 0x24; ++tag) {
    SCOPED_TRACE(tag);
    const auto entry = [&](const char* place) {
      return Dwarf1Entries()
          .parent(tag, {at::name(place)})
          .entry(TAG_structure_type, {at::name(std::string("in ") + place)})
          .end();
    };
    const DescModule* module = FillEntries(Dwarf1Entries()
                                               .append(entry("module"))
                                               .parent(TAG_global_subroutine, {at::name("proc")})
                                               .append(entry("scope"))
                                               .end()
                                               .parent(TAG_class_type, {at::name("aggregate")})
                                               .append(entry("member"))
                                               .end()
                                               .parent(TAG_subroutine_type, {at::name("function")})
                                               .append(entry("argument"))
                                               .end()
                                               .parent(TAG_lexical_block)
                                               .append(entry("anywhere"))
                                               .end());
    EXPECT_EQ(filled, 1) << failure;
    const bool isProc = tag == TAG_global_subroutine || tag == TAG_subroutine;
    const bool isVar = tag == TAG_global_variable || tag == TAG_local_variable;
    const bool isType = (tag >= TAG_array_type && tag <= TAG_class_type) || tag == TAG_enumeration_type ||
                        tag == TAG_structure_type || tag == TAG_union_type || tag == TAG_subroutine_type ||
                        tag == TAG_typedef;
    Texts procs = {"proc"};
    if (isProc || tag == TAG_label) {
      procs.insert(procs.begin(), "module");
    }
    const DescProc* proc = Find(module->procs, "proc");
    const DescType* aggregate = nullptr;
    const DescType* function = nullptr;
    Texts types;
    for (const DescType* type : TypesOf(module)) {
      types.emplace_back(type->name);
      aggregate = types.back() == "aggregate" ? type : aggregate;
      function = types.back() == "function" && type->kind == KIND_FUNCTION ? type : function;
    }
    EXPECT_EQ(Names(module->procs), procs);
    EXPECT_EQ(Names(module->vars), isVar ? Texts{"module"} : Texts{});
    EXPECT_EQ(Names(proc->locals), tag == TAG_local_variable ? Texts{"scope"} : Texts{});
    const bool isParameter = tag == TAG_formal_parameter || tag == TAG_unspecified_parameters;
    EXPECT_EQ(Names(proc->params), isParameter ? Texts{"scope"} : Texts{});
    EXPECT_EQ(Names(aggregate->items.members), tag == TAG_member ? Texts{"member"} : Texts{});
    EXPECT_EQ(Names(aggregate->target.memberFunctions), tag == TAG_global_subroutine ? Texts{"member"} : Texts{});
    EXPECT_EQ(Names(function->items.params), isParameter ? Texts{"argument"} : Texts{});
    const auto count = [&](const std::string& name) { return std::count(types.begin(), types.end(), name); };
    const bool isNamedType = isType && tag != TAG_array_type;
    for (const char* place : {"module", "scope", "member", "anywhere"}) {
      EXPECT_EQ(count(place), isNamedType ? 1 : 0) << place;
    }
    EXPECT_EQ(count("argument"), 0) << "a type directly under a subroutine type";
    const bool hidesTypes = tag == TAG_array_type || tag == TAG_enumeration_type || tag == TAG_typedef;
    EXPECT_EQ(count("in anywhere"), hidesTypes || tag == TAG_subroutine_type ? 0 : 1);
  }
}

TEST_P(Dwarf1ModuleFill, LabelsStandBeforeProcedures) {
  const auto label = [](uint32_t low, uint32_t high) { return Named("L" + std::to_string(low), low, high); };
  const DescModule* module = Fill(Dwarf1Unit({at::name("a.c"), at::lowPc(0), at::highPc(0x400)})
                                      .entry(TAG_subroutine, Named("p1", 9, 10))
                                      .entry(TAG_label, label(300, 0))
                                      .entry(TAG_label, label(100, 0))
                                      .entry(TAG_subroutine, Named("p0", 1, 2))
                                      .entry(TAG_label, label(200, 222))
                                      .entry(TAG_label, label(500, 0)));
  EXPECT_EQ(ProcTexts(module->procs), (Texts{"L100: void 100..200", "L200: void 200..222", "L300: void 300..500",
                                             "L500: void 500..1024", "p1: void 9..10", "p0: void 1..2"}));
}

TEST_P(Dwarf1ModuleFill, WhatEndsTheWalkAtModuleLevel) {
  const auto var = [](const char* name) { return Dwarf1Entries().entry(TAG_global_variable, {at::name(name)}); };
  const struct {
    const char* what;
    Dwarf1Entries entries;
    int filled;
    Texts vars;
  } facts[] = {
      {"no entries", {}, 1, {}},
      {"null entry of 7 bytes", Dwarf1Entries().append(var("a")).u32(7).append(var("b")), 1, {"a"}},
      {"sibling 0",
       Dwarf1Entries().entry(TAG_global_variable, {at::sibling(0), at::name("a")}).append(var("b")),
       1,
       {"a"}},
      {"no sibling",
       Dwarf1Entries().entry(TAG_global_variable, {at::name("a"), at::noSibling}).append(var("b")),
       0,
       {"a"}},
      {"sibling off the file",
       Dwarf1Entries().entry(TAG_global_variable, {at::sibling(0x7FFFFFF0), at::name("a")}),
       1,
       {"a"}},
      {"a circle",
       Dwarf1Entries().label("a").append(var("a")).entry(TAG_global_variable, {at::sibling("a"), at::name("b")}),
       0,
       {"a", "b"}},
      {"back, in no circle",
       Dwarf1Entries()
           .entry(TAG_global_variable, {at::sibling("2"), at::name("a")})
           .label("3")
           .entry(TAG_global_variable, {at::sibling("4"), at::name("c")})
           .label("2")
           .entry(TAG_global_variable, {at::sibling("3"), at::name("b")})
           .label("4")
           .append(var("d")),
       1,
       {"a", "b", "c", "d"}},
      {"a circle behind a step back",
       Dwarf1Entries()
           .entry(TAG_global_variable, {at::sibling("y"), at::name("a")})
           .label("x")
           .entry(TAG_global_variable, {at::sibling("y"), at::name("c")})
           .label("y")
           .entry(TAG_global_variable, {at::sibling("x"), at::name("b")}),
       0,
       {"a", "b", "c"}},
      {"padding by its length", Dwarf1Entries().u32(20).u16(TAG_padding).pad(14, 9).append(var("a")), 1, {"a"}},
      {"corrupt form behind the sibling",
       Dwarf1Entries().entry(TAG_global_variable, {at::name("a"), corrupt, at::name("x")}).append(var("b")),
       0,
       {"a", "b"}},
      {"form 0", Dwarf1Entries().entry(TAG_global_variable, {at::raw(AT_ordering, 0), at::name("a")}), 0, {"a"}},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const DescModule* module = FillEntries(fact.entries);
    EXPECT_EQ(filled, fact.filled) << failure;
    EXPECT_EQ(Names(module->vars), fact.vars);
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
    Dwarf1Entries children;
    int filled;
    Texts members;
  } facts[] = {
      {"no children", {}, 1, {}},
      {"siblings over a gap",
       Dwarf1Entries().append(member("a", at::sibling("far"))).pad(9).label("far").append(plain("b")),
       1,
       {"a", "b"}},
      {"first child without a sibling",
       Dwarf1Entries().append(member("a", at::noSibling)).append(plain("b")),
       1,
       {"a", "b"}},
      {"later child without a sibling",
       Dwarf1Entries().append(plain("a")).append(member("b", at::noSibling)).append(plain("c")),
       0,
       {"a", "b"}},
      {"sibling to itself", Dwarf1Entries().label("b").append(member("b", at::sibling("b"))), 0, {"b"}},
      {"sibling back",
       Dwarf1Entries().label("a").append(plain("a")).append(member("b", at::sibling("a"))),
       0,
       {"a", "b"}},
      {"sibling 0", Dwarf1Entries().append(member("a", at::sibling(0))).append(plain("b")), 1, {"a"}},
      {"sibling off the file",
       Dwarf1Entries().append(member("a", at::sibling(0x80000000))).append(plain("b")),
       1,
       {"a"}},
      {"sibling behind the parent's end",
       Dwarf1Entries().append(member("a", at::sibling("out"))).append(plain("b")),
       1,
       {"a", "out"}},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const DescModule* module = FillEntries(Dwarf1Entries()
                                               .parent(TAG_structure_type, {at::name("s")})
                                               .append(fact.children)
                                               .end()
                                               .entry(TAG_global_variable, {at::name("behind")})
                                               .label("out")
                                               .entry(TAG_member, {at::name("out")}));
    EXPECT_EQ(filled, fact.filled) << failure;
    ASSERT_NE(module->types, nullptr);
    EXPECT_EQ(Names(module->types->items.members), fact.members);
    EXPECT_EQ(Names(module->vars), Texts{"behind"});
  }
}

TEST_P(Dwarf1ModuleFill, CorruptFormsKeepWhatStandsAround) {
  const DescModule* module = FillEntries(
      Dwarf1Entries()
          .parent(TAG_global_subroutine, {at::name("p"), at::lowPc(4), corrupt})  // the sibling came before
          .entry(TAG_local_variable, {at::name("z")})
          .end()
          .parent(TAG_global_subroutine, {at::name("q")})
          .parent(TAG_lexical_block, {at::lowPc(8), corrupt})
          .entry(TAG_local_variable, {at::name("x"), at::address(0)})
          .end()
          .entry(TAG_local_variable, {at::name("y"), at::raw(AT_bit_offset, FORM_DATA2, Bytes().u16(1)), corrupt})
          .end()
          .parent(TAG_string_type, {corrupt})
          .entry(TAG_typedef, {at::name("t")})
          .end()
          .entry(TAG_array_type, {at::byteSize(8), corrupt})
          .entry(TAG_enumeration_type, {at::byteSize(2), corrupt})
          .entry(TAG_label, {at::name("l"), at::lowPc(1), corrupt}));
  EXPECT_EQ(filled, 0);
  EXPECT_EQ(failure, "corrupt form");
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
        nested.entry(TAG_typedef, {at::name("deepest")}).label("end").entry(TAG_global_variable, {at::name("behind")}));
    EXPECT_EQ(filled, succeeds) << levels;
    EXPECT_EQ(failure, succeeds != 0 ? "" : "entries nested too deep");
    EXPECT_EQ(module->typeCount, static_cast<uint32_t>(succeeds));
    EXPECT_EQ(Names(module->vars), Texts{"behind"});
  }
}

// Each level can be reached from the one before on two ways, so that a walk with endless patience would take 2^60
// steps.
TEST_P(Dwarf1ModuleFill, OverlappingEntriesEnd) {
  constexpr int LEVELS = 60;
  const auto label = [](const char* what, int level) { return what + std::to_string(level); };
  const auto skipped = [](const std::string& sibling) {
    return Dwarf1Entries().entry(TAG_string_type, {at::sibling(sibling)});
  };
  Dwarf1Entries entries;
  for (int level = 0; level < LEVELS; ++level) {
    const std::string end = label("end ", level);
    const std::string second = label("second way ", level);
    const std::string next = label("level ", level + 1);
    entries.append(skipped(end)).append(skipped(second)).append(skipped(end)).append(skipped(next)).nullEntry();
    entries.label(second).append(skipped(end)).append(skipped(next)).nullEntry().label(next);
  }
  entries.nullEntry();
  for (int level = LEVELS - 1; level >= 0; --level) {
    entries.label(label("end ", level)).nullEntry().pad(4);
  }
  FillEntries(entries);
  EXPECT_EQ(filled, 0);
  EXPECT_EQ(failure, "entries that overlap");
}

TEST_P(Dwarf1ModuleFill, MergedUnitsBecomeOne) {
  const auto unit = [](const char* number, const Dwarf1Attr& attr) {
    const auto named = [&](const char* what) { return at::name(what + std::string(number)); };
    return Dwarf1Unit({at::name("a.c"), attr})
        .entry(TAG_global_variable, {named("var"), at::userType("node")})
        .parent(TAG_global_subroutine, {named("proc"), at::raw(AT_user_def_type, FORM_REF, Bytes().u32(0x7777))})
        .end()
        .entry(TAG_label, {named("label"), at::lowPc(8)})
        .entry(TAG_array_type, {named("array"), Subscripts({{0, 3}}, at::fundType(FT_short))})
        .parent(TAG_structure_type, {named("bits")})
        .entry(TAG_member,
               {named("bit"), at::fundType(FT_short), at::data2(AT_bit_offset, 1), at::data4(AT_bit_size, 2)})
        .end();
  };
  const auto node =
      Dwarf1Unit({at::name("a.c")}).label("node").entry(TAG_structure_type, {at::name("node"), at::byteSize(12)});
  // The structure is defined in the first unit, in the last one, and in none of those that are compared.
  const auto plain = at::byteSize(1);
  const struct {
    const char* what;
    ElfFile file;
    int filled;
    Texts vars, types, typesOfFolded;
  } facts[] = {
      {"two, definition behind",
       Dwarf1File(GetParam(), unit("1", plain), node),
       1,
       {"var1: struct node"},
       {"struct node", "undefined", "[0..3]short", "struct bits1"},
       {"struct node"}},
      {"two, definition in front",
       Dwarf1File(GetParam(), node, unit("1", plain)),
       1,
       {"var1: struct node"},
       {"struct node"},
       {"struct node", "undefined", "[0..3]short", "struct bits1"}},
      {"three",
       Dwarf1File(GetParam(), unit("1", plain), unit("2", plain), node),
       1,
       {"var1: struct node", "var2: struct node"},
       {"struct node", "undefined", "[0..3]short", "struct bits1"},
       {"struct node"}},
      {"three, two of them folded",
       Dwarf1File(GetParam(), Dwarf1Unit({at::name("a.c")}), unit("1", plain), node),
       1,
       {"var1: undefined"},
       {},
       {"struct node"}},
      {"a folded unit that fails",
       Dwarf1File(GetParam(), node, Dwarf1Unit({at::name("a.c")}).entry(TAG_global_variable, {at::name("x"), corrupt})),
       0,
       {"x: undefined"},
       {"struct node"},
       {}},
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

  // Three units with procedures: the lists follow one another as first, last, last but one; the loader settles the
  // arrays and bit fields of all three.
  DescModule* module = LoadAndExtend(
      Dwarf1File(GetParam(), unit("1", plain), unit("2", plain), unit("3", plain), Bytes().label("node")));
  EXPECT_EQ(extended, 1);
  EXPECT_EQ(Names(module->procs), (Texts{"label1", "proc1", "label3", "proc3", "label2", "proc2"}));
  EXPECT_EQ(Names(module->vars), (Texts{"var1", "var3", "var2"}));
  for (const DescModule* part : {module, module->ext->mergedModules, module->ext->mergedModules->next}) {
    const auto types = TypesOf(part);
    ASSERT_EQ(types.size(), 4U);
    EXPECT_EQ(types[2]->byteSize, 8);
    EXPECT_EQ(types[3]->items.members->byteSize, 2);
    EXPECT_EQ(types[3]->items.members->bitOffset, 13);
  }
}

}  // namespace
