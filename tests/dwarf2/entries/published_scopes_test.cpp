// Scopes as published: procedures wherever they are, blocks, inlined calls, origins, names of what encloses entries.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"

namespace {

constexpr uint32_t LANG_CXX = 4;
constexpr uint32_t LANG_C = 0x0C;

Attr Flag(uint32_t attribute) { return {attribute, DW_FORM_flag, 1}; }
Attr Declared() { return Flag(DW_AT_declaration); }
Attr Completes(const char* label) { return {DW_AT_specification, DW_FORM_ref4, label}; }
Attr OfOrigin(const char* label) { return {DW_AT_abstract_origin, DW_FORM_ref4, label}; }
Attr Parts(const char* list) { return {DW_AT_ranges, DW_FORM_sec_offset, list}; }
Attr InFrame() { return {DW_AT_location, DW_FORM_exprloc, Bytes().u8(DW_OP_fbreg).u8(4)}; }
Attrs With(Attrs attrs, const Attrs& more) { return attrs.insert(attrs.end(), more.begin(), more.end()), attrs; }
Attrs Code(uint32_t low, uint32_t high) { return {Low(low), High(high)}; }

class PublishedScopes : public HostTest {
 protected:
  static Unit Begin(int version, uint32_t language = LANG_CXX, const UnitHeader& header = {}) {
    UnitHeader own = header;
    own.version = static_cast<uint16_t>(version);
    return Unit(own)
        .parent(
            DW_TAG_compile_unit,
            {Name("a.cpp"), {DW_AT_language, DW_FORM_data1, language}, {DW_AT_stmt_list, DW_FORM_sec_offset, "lines"}})
        .label(header.label + "int")
        .child(DW_TAG_base_type, {Name("int"), Size(4)});
  }

  // The units in .debug_info, and what they refer to: lists "parts", "block" and "gone", files 1 and 2.
  template <class... Units>
  static ElfFile File(ByteOrder order, int version, const Units&... units) {
    const auto pair = [&](uint32_t low, uint32_t high) {
      return version < 5 ? Bytes().u32(low).u32(high) : Bytes().u8(DW_RLE_start_end).u32(low).u32(high);
    };
    const Bytes end = version < 5 ? Bytes().u64(0) : Bytes().u8(DW_RLE_end_of_list);
    return Dwarf2File(order, units...)
        .segment(PT_LOAD, 0x8000, Bytes().pad(0x1000))
        .section(version < 5 ? ".debug_ranges" : ".debug_rnglists",
                 Joined(Bytes().label("parts"), pair(0x8200, 0x8210), pair(0x8100, 0x8110), pair(0x8300, 0x8304), end),
                 Joined(Bytes().label("block"), pair(0x8204, 0x8208), pair(0x8104, 0x8108), end),
                 Joined(Bytes().label("gone"), pair(1, 5), pair(0, 4), end))
        .section(".debug_line", LineProgram({.version = 3}, "lines"));
  }

  template <class... Units>
  DescModule* Read(ByteOrder order, int version, const Units&... units) {
    const EnvironmentValue published("DWARFRULES", "PUBLISHED");
    return LoadAndExtend(File(order, version, units...));
  }
};

TEST_F(PublishedScopes, OfEveryKind) {
  const struct {
    const char* what;
    std::function<void(Unit&)> entries;
    Texts expected;
    uint32_t language = LANG_CXX;
  } facts[] = {
      // clang-format off
      {"members of a class, inside it and outside", [](Unit& u) {
         u.parent(DW_TAG_namespace, {Name("ns")})
             .parent(DW_TAG_class_type, {Name("K"), Size(4)})
                 .label("m").parent(DW_TAG_subprogram, {Name("m"), Declared()})
                     .child(DW_TAG_formal_parameter, {Type("int")}).end()
                 .parent(DW_TAG_subprogram, With(Code(0x8010, 0x8020), {Name("k")}))
                     .child(DW_TAG_variable, {Name("l"), Type("int")}).end()
                 .child(DW_TAG_typedef, {Name("size"), Type("int")})
                 .parent(DW_TAG_enumeration_type, {Name("e"), Size(1)})
                     .child(DW_TAG_enumerator, {Name("one"), {DW_AT_const_value, DW_FORM_data1, 1}}).end()
                 .child(DW_TAG_member, {Name("f"), Type("int")}).end().end()
         .parent(DW_TAG_subprogram, With(Code(0x8000, 0x8010), {Completes("m")}))
             .child(DW_TAG_formal_parameter, {Name("x"), Type("int")}).end(); },
       {"ns::K::k 8010-8020 () {l:int}", "ns::K::m 8000-8010 (x:int) {}", "3 ns::K::e 1 {one=1} 0",
        "1 ns::K::size 0 -> int flags 0", "6 ns::K 4 {f:int} {m 0-0 k 8010-8020}"}},
      {"abstract instances have no record; what stands for them takes all from them", [](Unit& u) {
         u.label("f").parent(DW_TAG_subprogram, {Name("f"), {DW_AT_inline, DW_FORM_data1, 1}})
             .label("p").child(DW_TAG_formal_parameter, {Name("p"), Type("int")})
             .label("v").child(DW_TAG_variable, {Name("v"), Type("int")}).end()
         .label("second").parent(DW_TAG_subprogram, With(Code(0x8000, 0x8010), {OfOrigin("f")}))
             .child(DW_TAG_formal_parameter, {OfOrigin("p")})
             .child(DW_TAG_variable, {OfOrigin("v"), Name("w")}).end()
         .parent(DW_TAG_subprogram, With(Code(0x8010, 0x8020), {Name("g"), OfOrigin("second")})).end(); },
       {"f 8000-8010 (p:int) {w:int}", "g 8010-8020 () {}"}},
      {"a definition keeps its own array", [](Unit& u) {
         u.parent(DW_TAG_namespace, {Name("ns")})
             .label("d").child(DW_TAG_variable, {Name("table"), Type("open"), Declared(), Flag(DW_AT_external)}).end()
         .child(DW_TAG_variable, {Type("closed"), InFrame(), Completes("d")})
         .child(DW_TAG_variable, {InFrame(), Completes("d")})
         .label("open").parent(DW_TAG_array_type, {Type("int")}).child(DW_TAG_subrange_type).end()
         .label("closed").parent(DW_TAG_array_type, {Name("four"), Type("int")})
             .child(DW_TAG_subrange_type, {{DW_AT_upper_bound, DW_FORM_data1, 3}}).end(); },
       {"ns::table:four", "ns::table:array", "7 four 0 [0..3] 0 of int", "7 array 0 [0..-1] 0 of int"}},
      {"a class that is completed elsewhere, before its declaration", [](Unit& u) {
         u.parent(DW_TAG_structure_type, {Completes("K"), Size(8)}).child(DW_TAG_member, {Name("m"), Type("int")})
             .parent(DW_TAG_structure_type, {Name("in"), Size(1)}).end().end()
         .child(DW_TAG_subprogram, With(Code(0x8000, 0x8010), {Completes("f")}))
         .parent(DW_TAG_namespace, {Name("a")}).parent(DW_TAG_namespace, {Name("b")})
             .label("f").child(DW_TAG_subprogram, {Name("f"), Declared()})
             .label("K").parent(DW_TAG_structure_type, {Name("K"), Declared()}).end().end().end(); },
       {"a::b::f 8000-8010 () {}", "4 a::b::K 0 {} {}", "4 a::b::K::in 1 {} {}", "4 a::b::K 8 {m:int} {}"}},
      {"declarations", [](Unit& u) {
         u.child(DW_TAG_subprogram, {Name("f"), Declared()}).child(DW_TAG_variable, {Name("v"), Declared()})
         .parent(DW_TAG_subprogram, With(Code(0x8000, 0x8010), {Name("g")}))
             .child(DW_TAG_variable, {Name("v"), Declared(), Type("int")})
             .child(DW_TAG_subprogram, {Name("h"), Declared()}).end()
         .child(DW_TAG_subprogram, {Name("without code")}); },
       {"g 8000-8010 () {}", "without code 0-0 () {}"}},
      {"procedures in procedures, blocks and local classes", [](Unit& u) {
         u.parent(DW_TAG_module, {Name("mod")})
             .parent(DW_TAG_subprogram, With(Code(0x8000, 0x8100), {Name("f")}))
                 .parent(DW_TAG_subprogram, With(Code(0x8100, 0x8110), {Name("contained")}))
                     .child(DW_TAG_variable, {Name("v"), Type("int")}).end()
                 .parent(DW_TAG_lexical_block)
                     .child(DW_TAG_subprogram, With(Code(0x8110, 0x8120), {Name("deep")}))
                     .parent(DW_TAG_class_type, {Name("local"), Size(1)})
                         .child(DW_TAG_subprogram, With(Code(0x8120, 0x8130), {Name("operator()")})).end().end()
                 .parent(DW_TAG_common_block, {Name("common")}).child(DW_TAG_variable, {Name("c"), Type("int")}).end()
                 .child(DW_TAG_variable, {Name("w"), Type("int")}).end()
             .parent(DW_TAG_common_block).child(DW_TAG_variable, {Name("shared"), Type("int")}).end().end(); },
       {"mod::f 8000-8100 () {c:int w:int}", "mod::contained 8100-8110 () {v:int}", "mod::deep 8110-8120 () {}",
        "mod::local::operator() 8120-8130 () {}", "mod::shared:int", "6 mod::local 1 {} {operator() 8120-8130}"}},
      {"names of scopes without one", [](Unit& u) {
         u.parent(DW_TAG_namespace)
             .child(DW_TAG_variable, {Name("count"), Type("int")})
             .parent(DW_TAG_structure_type, {Size(1)})
                 .parent(DW_TAG_union_type, {Size(1)}).child(DW_TAG_typedef, {Name("t"), Type("int")}).end().end().end(); },
       {"(anonymous namespace)::count:int",
        "1 (anonymous namespace)::(anonymous struct)::(anonymous union)::t 0 -> int flags 0", "5 union 1 {} {}",
        "4 struct 1 {} {}"}},
      {"names in C", [](Unit& u) {
         u.parent(DW_TAG_structure_type, {Name("s"), Size(1)}).parent(DW_TAG_structure_type, {Name("t"), Size(1)}).end()
             .end(); },
       {"4 t 1 {} {}", "4 s 1 {} {}"}, LANG_C},
      {"several ranges: the first, or that of the entry address", [](Unit& u) {
         u.child(DW_TAG_subprogram, {Name("f"), Parts("parts")})
         .child(DW_TAG_subprogram, {Name("g"), Parts("parts"), {DW_AT_entry_pc, DW_FORM_addr, 0x8108}})
         .child(DW_TAG_subprogram, {Name("h"), Parts("parts"), {DW_AT_entry_pc, DW_FORM_data2, 0x102}})
         .parent(DW_TAG_namespace, {Name("n")}).label("i").child(DW_TAG_subprogram, {Name("i"), Declared()}).end()
         .child(DW_TAG_subprogram, {Completes("i"), Parts("block")}); },
       {"f 8200-8210 () {}", "f 8100-8110 () {}", "f 8300-8304 () {}", "g 8100-8110 () {}", "g 8200-8210 () {}",
        "g 8300-8304 () {}", "h 8300-8304 () {}", "h 8200-8210 () {}", "h 8100-8110 () {}", "n::i 8204-8208 () {}", "n::i 8104-8108 () {}"}},
      {"what the linker threw away has no addresses", [](Unit& u) {
         u.label("i").child(DW_TAG_subprogram, {Name("i"), {DW_AT_inline, DW_FORM_data1, 1}})
         .parent(DW_TAG_subprogram, {Name("f"), Low(0), {DW_AT_high_pc, DW_FORM_data1, 0x20}})
             .parent(DW_TAG_lexical_block, Code(4, 8)).child(DW_TAG_variable, {Name("v"), Type("int"), InFrame()}).end()
             .child(DW_TAG_inlined_subroutine, With(Code(4, 8), {OfOrigin("i")})).end()
         .parent(DW_TAG_subprogram, {Name("g"), Parts("gone")})
             .parent(DW_TAG_lexical_block, {Parts("gone")})
                 .child(DW_TAG_variable, {Name("v"), Type("int"), InFrame()}).end().end()
         .child(DW_TAG_subprogram, With(Code(0xFFFFFFFE, 0xFFFFFFFF), {Name("h")})); },
       {"f 0-0 () {v:int}", "g 0-0 () {v:int}", "h 0-0 () {}"}},
      {"variables hold where their blocks are", [](Unit& u) {
         u.parent(DW_TAG_subprogram, With(Code(0x8000, 0x8100), {Name("f")}))
             .child(DW_TAG_variable, {Name("a"), Type("int"), InFrame()})
             .parent(DW_TAG_lexical_block, Code(0x8010, 0x8020))
                 .child(DW_TAG_variable, {Name("b"), Type("int"), InFrame()})
                 .parent(DW_TAG_lexical_block).child(DW_TAG_variable, {Name("c"), Type("int"), InFrame()}).end()
                 .parent(DW_TAG_try_block, {Parts("block")})
                     .child(DW_TAG_variable, {Name("d"), Type("int"), InFrame()})
                     .child(DW_TAG_structure_type, {Name("s"), Size(1)})
                     .child(DW_TAG_variable, {Name("e"), Type("int")}).end()
                 .child(DW_TAG_formal_parameter, {Name("f"), Type("int"), InFrame()}).end()
             .child(DW_TAG_variable, {Name("g"), Type("int"), InFrame()}).end(); },
       {"f 8000-8100 () {a:int b:int@8010-8020 c:int@8010-8020 d:int@8204-8208@8104-8108 e:int f:int@8010-8020 g:int}",
        "4 s 1 {} {}"}},
      {"inlined calls", [](Unit& u) {
         const Attrs line = {{DW_AT_call_file, DW_FORM_data1, 2}, {DW_AT_call_line, DW_FORM_data2, 300},
                             {DW_AT_call_column, DW_FORM_data1, 7}};
         u.parent(DW_TAG_namespace, {Name("ns")})
             .label("i").parent(DW_TAG_subprogram, {Name("i"), {DW_AT_inline, DW_FORM_data1, 3}})
                 .label("p").child(DW_TAG_formal_parameter, {Name("p"), Type("int")}).end()
             .label("j").child(DW_TAG_subprogram, {Name("j"), {DW_AT_inline, DW_FORM_data1, 3}}).end()
         .parent(DW_TAG_subprogram, With(Code(0x8100, 0x8300), {Name("f")}))
             .parent(DW_TAG_lexical_block, Code(0x8200, 0x8240))
                 .parent(DW_TAG_inlined_subroutine, With(line, {OfOrigin("i"), Parts("block")}))
                     .child(DW_TAG_formal_parameter, {OfOrigin("p"), InFrame()})
                     .parent(DW_TAG_lexical_block, Code(0x8204, 0x8206))
                         .child(DW_TAG_inlined_subroutine, With(Code(0x8204, 0x8206), {OfOrigin("j")})).end().end().end()
             .child(DW_TAG_inlined_subroutine, With(Code(0x8100, 0x8104), {OfOrigin("j")}))
             .child(DW_TAG_inlined_subroutine, {OfOrigin("j")}).end(); },
       {"f 8100-8300 () {p:int@8204-8208@8104-8108}", "call ns::j 8100-8104 depth 1 :0:0",
        "call ns::i 8104-8108 depth 1 b.c:300:7", "call ns::i 8204-8208 depth 1 b.c:300:7",
        "call ns::j 8204-8206 depth 2 :0:0"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      for (const int version : {4, 5}) {
        Unit unit = Begin(version, fact.language);
        fact.entries(unit);
        EXPECT_EQ(ModuleTexts(Read(order, version, unit.end())), fact.expected) << fact.what << " " << version;
        EXPECT_EQ(extended, 1) << fact.what;
      }
    }
  }
}

// Types by signature: read into each module that asks for them, once, with names of their own unit's scopes.
TEST_F(PublishedScopes, TypeUnits) {
  constexpr uint64_t SIGNATURE = 0x0123456789ABCDEF;
  const auto typed = [](uint64_t signature) {
    return Attr{DW_AT_type, DW_FORM_ref_sig8, static_cast<int64_t>(signature)};
  };
  for (const ByteOrder order : bothOrders) {
    for (const int version : {4, 5}) {
      const auto typeUnit = [&](uint64_t signature, const std::string& name, const Attrs& member) {
        return Unit({.version = static_cast<uint16_t>(version),
                     .type = DW_UT_type,
                     .signature = signature,
                     .forType = name})
            .parent(DW_TAG_type_unit, {{DW_AT_language, DW_FORM_data1, LANG_CXX}})
            .parent(DW_TAG_namespace, {Name("ns")})
            .child(DW_TAG_structure_type, {Name("unasked"), Size(1)})
            .label(name)
            .parent(DW_TAG_structure_type, {Name(name), Size(4)})
            .child(DW_TAG_member, With(member, {Name("m")}))
            .end()
            .end()
            .end();
      };
      const Unit inner = typeUnit(SIGNATURE + 1, "Inner", {typed(SIGNATURE)});
      const Unit outer = typeUnit(SIGNATURE, "Outer", {typed(SIGNATURE + 1)});
      const auto user = [&](const std::string& label) {
        return Begin(version, LANG_CXX, {.label = label})
            .child(DW_TAG_variable, {Name("v"), typed(SIGNATURE)})
            .child(DW_TAG_variable, {Name("w"), typed(SIGNATURE)})
            .child(DW_TAG_variable, {Name("x"), typed(77)})
            .child(DW_TAG_structure_type, {Declared(), {DW_AT_signature, DW_FORM_ref_sig8, int64_t{SIGNATURE}}})
            .end();
      };
      const Unit a = user("a");
      const Unit b = user("b");
      ElfFile file(order);
      if (version == 5) {
        file.section(".debug_info", a, inner, outer, b);
      } else {
        file.section(".debug_info", a, b).section(".debug_types", inner, outer);
      }
      file.section(".debug_abbrev", a.abbrevs(), b.abbrevs(), inner.abbrevs(), outer.abbrevs());
      file.section(".debug_line", LineProgram({.version = 3}, "lines"));
      const EnvironmentValue published("DWARFRULES", "PUBLISHED");
      const DescModule* module = LoadAndExtend(file);
      EXPECT_EQ(extended, 2);
      for (int i = 0; i < 2; ++i, module = module->next) {
        EXPECT_EQ(ModuleTexts(module),
                  (Texts{"v:ns::Outer", "w:ns::Outer", "x:undefined", "4 ns::Inner 4 {m:ns::Outer} {}",
                         "4 ns::Outer 4 {m:ns::Inner} {}", "4 ns::Outer 4 {m:ns::Inner} {}"}));
      }
      EXPECT_EQ(module, nullptr) << "type units are no modules";
    }
  }
}

// Partial units, which import one another in a circle, and references into another module's unit.
TEST_F(PublishedScopes, OtherUnits) {
  const auto import = [](const char* unit) { return Attrs{{DW_AT_import, DW_FORM_ref_addr, unit}}; };
  const auto refer = [](uint32_t attribute, const char* entry) { return Attr{attribute, DW_FORM_ref_addr, entry}; };
  for (const ByteOrder order : bothOrders) {
    for (const int version : {3, 5}) {
      const auto partial = [&](const std::string& label, const char* name, const char* next) {
        return Unit({.version = static_cast<uint16_t>(version),
                     .label = label + " unit",
                     .type = DW_UT_partial,
                     .is64Bit = true})
            .parent(DW_TAG_partial_unit, {{DW_AT_language, DW_FORM_data1, LANG_CXX}})
            .label(label + " entry")
            .child(DW_TAG_imported_unit, import(next))
            .parent(DW_TAG_namespace, {Name("ns")})
            .label(label)
            .parent(DW_TAG_structure_type, {Name(name), Size(1)})
            .end()
            .child(DW_TAG_variable, {Name("v"), Type(label)})
            .end()
            .end();
      };
      const Unit first = partial("p", "P", "q entry");
      const Unit second = partial("q", "Q", "p unit");
      const Unit user =
          Begin(version, LANG_CXX, {.label = "user "})
              .child(DW_TAG_imported_unit, import("p entry"))
              .child(DW_TAG_imported_unit, import("p entry"))
              .child(DW_TAG_variable, {Name("a"), refer(DW_AT_type, "q")})
              .child(DW_TAG_variable, {Name("b"), refer(DW_AT_type, "other K")})
              .child(DW_TAG_variable, {Name("c"), refer(DW_AT_type, "other K")})
              .child(DW_TAG_subprogram, With(Code(0x8000, 0x8010), {refer(DW_AT_specification, "other f")}))
              .end();
      const Unit other = Begin(4, LANG_CXX, {.label = "other "})
                             .parent(DW_TAG_namespace, {Name("far")})
                             .label("other f")
                             .child(DW_TAG_subprogram, {Name("f"), Declared()})
                             .label("other K")
                             .parent(DW_TAG_structure_type, {Name("K"), Size(4)})
                             .child(DW_TAG_member, {Name("m"), Type("other int")})
                             .end()
                             .end()
                             .end();
      const DescModule* module = Read(order, version, first, user, second, other);
      EXPECT_EQ(extended, 2);
      EXPECT_EQ(ModuleTexts(module),
                (Texts{"far::f 8000-8010 () {}", "a:ns::Q", "b:far::K", "c:far::K", "ns::v:ns::P", "ns::v:ns::Q",
                       "4 ns::P 1 {} {}", "4 far::K 4 {m:int} {}", "4 ns::Q 1 {} {}"}));
      EXPECT_EQ(ModuleTexts(module->next), Texts{"4 far::K 4 {m:int} {}"});
      EXPECT_EQ(module->next->next, nullptr);
    }
  }
}

// A unit fails with a reason, and keeps what it had read; others are read as if nothing had happened.
TEST_F(PublishedScopes, ReferencesThatLeadNowhere) {
  const struct {
    Attr attr;
    const char* reason;
  } facts[] = {
      {OfOrigin("self"), "DW_AT_specification and DW_AT_abstract_origin lead in a circle"},
      {Completes("partner"), "DW_AT_specification and DW_AT_abstract_origin lead in a circle"},
      {{DW_AT_abstract_origin, DW_FORM_ref_addr, 0x7FFFFF}, "a reference to 0x7FFFFF leads to no unit"},
      {{DW_AT_specification, DW_FORM_ref4, -4}, "a reference to 0xFFFFFFFC leads to no unit"},
      {OfOrigin("null"), "a reference leads to no entry"},
      {{DW_AT_specification, DW_FORM_ref_sig8, 5}, ""},
      {{DW_AT_type, DW_FORM_ref_addr, 0x7FFFFF}, ""},
      {{DW_AT_type, DW_FORM_ref4, "partner"}, ""},  // no type
      {{DW_AT_abstract_origin, DW_FORM_data4, "partner"}, ""},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const Unit bad = Begin(4, LANG_CXX, {.label = "bad "})
                           .child(DW_TAG_variable, {Name("kept"), Type("bad int")})
                           .label("partner")
                           .child(DW_TAG_namespace, {{DW_AT_extension, DW_FORM_ref4, "self"}})
                           .label("self")
                           .child(DW_TAG_variable, {fact.attr})
                           .child(DW_TAG_variable, {Name("last"), Type("bad int")})
                           .label("null")
                           .end();
      const Unit good = Begin(4).child(DW_TAG_variable, {Name("v"), Type("int")}).end();
      const DescModule* module = Read(order, 4, bad, good);
      const bool isBad = *fact.reason != 0;
      EXPECT_EQ(extended, isBad ? 1 : 2) << fact.reason;
      EXPECT_EQ(Described(module->next->vars), Texts{"v:int"});
      EXPECT_EQ(Described(module->vars).front(), "kept:int") << fact.reason;
      EXPECT_EQ(Described(module->vars).back() == "last:int", !isBad) << fact.reason;
      const LoaderFailure failure = LastFailure(loader);
      EXPECT_STREQ(failure.text, fact.reason);
      EXPECT_STREQ(failure.unit, isBad ? "1:a.cpp" : "");
      EXPECT_STREQ(failure.section, isBad ? ".debug_info" : "");
      EXPECT_EQ(TakeMessages().size(), isBad ? 1U : 0U);
    }
  }
}

// Entries that are read for other units count; 64 times the debug information is granted, beside what any file may ask.
TEST_F(PublishedScopes, EntriesOfOtherUnitsAreBounded) {
  constexpr uint32_t BLOCK = 400000;
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  for (const bool isMany : {false, true}) {
    Unit partial = Unit({.version = 4}).label("partial").parent(DW_TAG_partial_unit);
    partial.child(0x4090, {{DW_AT_location, DW_FORM_block4, Bytes().pad(BLOCK)}}).end();
    Bytes users;
    const Unit user = Unit({.version = 4})
                          .parent(DW_TAG_compile_unit)
                          .child(DW_TAG_imported_unit, {{DW_AT_import, DW_FORM_ref_addr, "partial"}})
                          .end();
    const int count = isMany ? 120 : 64;
    for (int i = 0; i < count; ++i) users.append(user);
    const DescModule* module = LoadAndExtend(
        ElfFile().section(".debug_info", partial, users).section(".debug_abbrev", partial.abbrevs(), user.abbrevs()));
    EXPECT_NE(module, nullptr);
    EXPECT_EQ(extended < count, isMany) << extended;
    EXPECT_EQ(extended >= 64, true) << extended;
    EXPECT_STREQ(LastFailure(loader).text, isMany ? "parts of the file are read over and over" : "");
    EXPECT_EQ(TakeMessages().size(), isMany ? 1U : 0U);
  }
}

}  // namespace
