// Damaged files and exhausted memory: everything ends, records stay whole, heaps are released. Sanitizers see the rest.
#include <random>

#include "dwarf1/dwarf1_test.h"

namespace {

class Dwarf1Damage : public Dwarf1Test {
 protected:
  // Fills everything and looks at every record; what the user is told is no matter. The count of fills that succeeded.
  int Survive(const std::string& path);
};
INSTANTIATE_TEST_SUITE_P(BothOrders, Dwarf1Damage, testing::ValuesIn(bothOrders), OrderName);

// One of everything, in two units of one source and one of another.
Dwarf1Entries Everything() {
  const auto half =
      Dwarf1Unit({at::name("a.c"), at::text(AT_comp_dir, "/prj"), at::stmtList("lines"), at::data4(AT_language, 1),
                  at::text(AT_producer, "any")})
          .parent(TAG_global_subroutine, {at::name("main"), at::userType("alias"), at::lowPc(4)})
          .entry(TAG_formal_parameter, {at::name("p"), at::modUserType({1, 3, 2}, "node"), at::address(1)})
          .parent(TAG_lexical_block, {at::lowPc(4), at::highPc(8)})
          .entry(TAG_local_variable, {at::name("x"), at::modFundType({1}, FT_char), at::address(2)})
          .end()
          .entry(TAG_unspecified_parameters)
          .end()
          .entry(TAG_label, {at::name("l1"), at::lowPc(6)})
          .entry(TAG_label, {at::name("l2"), at::lowPc(5)})
          .entry(TAG_global_variable, {at::name("table"), at::userType("array"), at::address(64)})
          .label("array")
          .entry(TAG_array_type, {Subscripts({{0, 3}, {0, 1}}, at::userType("node"))})
          .label("node")
          .parent(TAG_structure_type, {at::name("node"), at::byteSize(8)})
          .entry(TAG_member, {at::name("bits"), at::fundType(FT_short), at::data2(AT_bit_offset, 3),
                              at::data4(AT_bit_size, 2), at::address(0)})
          .parent(TAG_global_subroutine, {at::name("method"), at::text(AT_prototyped, "")})
          .entry(TAG_formal_parameter, {at::name("q"), at::fundType(FT_long)})
          .end()
          .end()
          .label("alias")
          .entry(TAG_typedef, {at::name("alias"), at::userType("colour")})
          .label("colour")
          .entry(TAG_enumeration_type, {at::name("colour"), at::elements({{1, "red"}, {2, "green"}})})
          .parent(TAG_subroutine_type, {at::fundType(FT_void)})
          .entry(TAG_formal_parameter, {at::userType("elsewhere")})
          .end()
          .entry(TAG_string_type, {at::block2(AT_ordering, Bytes().pad(4)), at::data8(AT_discr, 1, 2)});
  const auto other = Dwarf1Unit({at::name("b.c")}).label("elsewhere").entry(TAG_union_type, {at::name("u")});
  return Dwarf1Entries().label("first").append(half).append(half).append(other);
}

struct Part {
  const char* section;
  Chunk contents;
};
const std::vector<Part>& Parts() {
  static const std::vector<Part> parts = {
      {".debug", Everything().finish()},
      {".line", LineTable("lines", 0, std::vector<LineRow>(1030, LineRow{1, 4, 7}))},
      {".debug_pubnames", NameSet("first", {"main", "table"})},
      {".debug_aranges", RangeSet("first", {{0, 64}})}};
  return parts;
}

// The file with that part behind the others.
ElfFile WithLast(ByteOrder order, const char* last) {
  ElfFile file(order);
  file.segment(PT_LOAD, 0, Bytes().u32(0));
  std::vector<Part> parts = Parts();
  std::stable_partition(parts.begin(), parts.end(),
                        [&](const Part& part) { return std::string_view(part.section) != last; });
  for (const Part& part : parts) {
    file.section(part.section, Bytes().append(part.contents));
  }
  return file;
}

void ExpectWhole(const DescVar* vars) {
  for (; vars != nullptr; vars = vars->next) {
    ASSERT_NE(vars->name, nullptr);
    ASSERT_NE(vars->type, nullptr);
  }
}
void ExpectWhole(const DescProc* procs) {
  for (; procs != nullptr; procs = procs->next) {
    ASSERT_NE(procs->name, nullptr);
    ExpectWhole(procs->params);
    ExpectWhole(procs->locals);
  }
}
void ExpectWhole(const DescModule* modules) {
  for (; modules != nullptr; modules = modules->next) {
    ASSERT_NE(modules->name, nullptr);
    ExpectWhole(modules->vars);
    ExpectWhole(modules->procs);
    for (const DescType* type = modules->types; type != nullptr; type = type->next) {
      ASSERT_NE(type->name, nullptr);
      if (type->kind >= KIND_STRUCT && type->kind <= KIND_CLASS) {
        ExpectWhole(type->items.members);
        ExpectWhole(type->target.memberFunctions);
      }
    }
    ExpectWhole(modules->ext->mergedModules);
  }
}

int Dwarf1Damage::Survive(const std::string& path) {
  int succeeded = 0;
  for (DescModule* module = LoadPath(path); module != nullptr; module = module->next) {
    succeeded += loader.Extend(module, SYM_LOAD_ALL);
  }
  ExpectWhole(table.Modules());
  TakeMessages();
  return succeeded;
}

TEST_P(Dwarf1Damage, AnyByteMayBeWrong) {
  const RawBytes whole = WithLast(GetParam(), "").build();
  const uint32_t first = 52 + 32 + 4;  // behind the headers and the segment: `.debug`
  const uint32_t size = Parts()[0].contents.size();
  EXPECT_EQ(Survive(TempFolder::OfProcess().Write("whole.elf", whole)), 2);
  std::mt19937 random(1);
  const uint8_t values[] = {0, 1, 3, 8, 0x11, 0x13, 0x16, 0x7F, 0x80, 0xFF};
  for (uint32_t i = 0; i < 1500; ++i) {
    RawBytes damaged = whole;
    for (uint32_t count = 1 + i % 3; count > 0; --count) {
      damaged[first + random() % size] = values[random() % std::size(values)];
    }
    Survive(TempFolder::OfProcess().Write("damaged.elf", damaged));
  }
}

TEST_P(Dwarf1Damage, TheFileMayEndAnywhere) {
  Labels labels;
  for (const Part& part : Parts()) {
    labels.insert(part.contents.labels().begin(), part.contents.labels().end());
  }
  for (const Part& part : Parts()) {
    const ElfFile file = WithLast(GetParam(), part.section);
    const RawBytes contents = part.contents.In(GetParam(), labels);
    const uint32_t step = contents.size() > 4000 ? 97 : 1;
    for (uint32_t size = 0; size < contents.size(); size += step) {
      const RawBytes cut(contents.begin(), contents.begin() + size);
      Survive(TempFolder::OfProcess().Write("cut.elf", EndingWith(file, cut, static_cast<uint32_t>(contents.size()))));
    }
  }
}

TEST_P(Dwarf1Damage, MemoryMayEndAnywhere) {
  const std::string path = WithLast(GetParam(), "").write();
  size_t failures = 0;
  for (int succeeded = 0; succeeded < 2 && failures < 1000; ++failures) {
    HEAP_FailFrom(failures + 1);
    succeeded = Survive(path);
    HEAP_FailFrom(0);
  }
  EXPECT_GT(failures, 100U);
  EXPECT_LT(failures, 1000U);
}

// Strings and blocks that the file ends latch; a length of 2^31 skips nothing.
TEST_P(Dwarf1Damage, WhatTheFileCannotBack) {
  const struct {
    const char* what;
    Bytes attributes;  // of a variable; the file ends behind them
    const char* failure;
  } facts[] = {
      {"string", Bytes().u16(AT_name | +FORM_STRING).raw({'a', 'b'}), "string without end"},
      {"skipped string", Bytes().u16(AT_producer | +FORM_STRING).raw({'a'}), "string without end"},
      {"location", Bytes().u16(AT_location | +FORM_BLOCK2).u16(500).u8(OP_ADDR), "block without end"},
      {"elements", Bytes().u16(AT_element_list | +FORM_BLOCK4).u32(500).u32(1).text("A"), "element list without end"},
      {"block of 2^31", Bytes().u16(AT_ordering | +FORM_BLOCK4).u32(0x80000000), ""},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const uint32_t tag = std::string_view(fact.what) == "elements" ? TAG_enumeration_type : TAG_global_variable;
    Bytes debug = Bytes().append(Dwarf1Entries().entry(TAG_compile_unit, {at::name("a.c"), at::sibling(0)}));
    debug.u32(fact.attributes.size() + 6).u16(tag).append(fact.attributes);
    const ElfFile file = Dwarf1File(GetParam(), Bytes());
    DescModule* module =
        LoadPath(TempFolder::OfProcess().Write("cut.elf", EndingWith(file, debug.In(GetParam()), debug.size())));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(FillDwarf1Module(loader.image, module, nullptr), 0);
    EXPECT_TRUE(module->vars != nullptr || module->typeCount == 1);
    EXPECT_TRUE(fact.failure[0] == 0 || dwarf1State.failure == std::string(fact.failure)) << dwarf1State.failure;
  }
}

}  // namespace
