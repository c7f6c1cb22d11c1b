// Extend: one fill for each module, and what is settled after it: line-info procedures, bit fields, sizes.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

class DelayLoad : public HostTest {};

const Attr UNIT_NAME = Name("a.c");

TEST_F(DelayLoad, FillsOnceAndReportsTheFirstFailureOfABuild) {
  const Unit good = Unit().parent(DW_TAG_compile_unit, {UNIT_NAME}).child(DW_TAG_variable, {Name("x")}).end();
  const Unit bad = Unit().parent(DW_TAG_compile_unit, {Name("bad.c")}).child(DW_TAG_variable, {Name("kept")}).entry(99);
  const Unit worse = Unit()
                         .parent(DW_TAG_compile_unit, {Name("worse.c"), {DW_AT_stmt_list, DW_FORM_data4, 0}})
                         .label("int")
                         .child(DW_TAG_base_type, {Size(4)})
                         .child(DW_TAG_variable, {Name("kept"), Type("int")})
                         .entry(99);
  const auto lines = LineProgram().file("a.c").setAddress(0x10).copy().endSequence();
  DescModule* first = Load(Dwarf2File(ByteOrder::little, good, bad, worse).section(".debug_line", lines));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(loader.Extend(nullptr, SYM_LOAD_ALL), 0);
  for (const SYM_DelayLoadKind none : {0U, 8U, 0xFFFFFFF8U}) EXPECT_EQ(loader.Extend(first, none), 0);
  EXPECT_EQ(first->loadedKinds, 0u);
  ItemInfo item(first);
  EXPECT_EQ(loader.Extend(&table, &item, SYM_LOAD_TYPES), 1);
  EXPECT_EQ(first->loadedKinds, 7u);
  for (const SYM_DelayLoadKind loaded : {7U, 15U, 0xFFFFFFFFU}) {
    EXPECT_EQ(loader.Extend(&table, &item, loaded), 0) << "nothing was left to load";
  }
  EXPECT_EQ(TakeMessages(), Texts{});

  for (DescModule* module = first->next; module != nullptr; module = module->next) {
    EXPECT_EQ(loader.Extend(module, SYM_LOAD_ALL), 0);
    EXPECT_EQ(TakeMessages(), module == first->next ? Texts{ERROR_IN_OBJECT_FILE} : Texts{});
    EXPECT_EQ(module->loadedKinds, 7u);
    EXPECT_EQ(Names(module->vars), Texts{"kept"});
    EXPECT_EQ(module->vars->byteSize, 0) << "what was read is kept, and not settled";
    EXPECT_EQ(module->procs, nullptr);
    EXPECT_EQ(loader.Extend(module, SYM_LOAD_ALL), 0);
  }
}

TEST_F(DelayLoad, SizesFollowTypedefsAndQualifiersAndMultiplyDimensions) {
  const auto dim = [](int low, int high) -> Attrs {
    return {{DW_AT_lower_bound, DW_FORM_sdata, low}, {DW_AT_upper_bound, DW_FORM_sdata, high}};
  };
  // clang-format off
  Unit unit = Unit().parent(DW_TAG_compile_unit, {UNIT_NAME})
      .label("int").child(DW_TAG_base_type, {Size(4)})
      .label("ptr").child(DW_TAG_pointer_type, {Size(2), Type("grid")})
      .label("const").child(DW_TAG_const_type, {Type("volatile")})
      .label("volatile").child(DW_TAG_volatile_type, {Type("typedef")})
      .label("typedef").child(DW_TAG_typedef, {Type("grid")})
      .label("grid").parent(DW_TAG_array_type, {Type("row")})
          .child(DW_TAG_subrange_type, dim(1, 3)).child(DW_TAG_subrange_type, dim(0, 4)).end()
      .label("row").parent(DW_TAG_array_type, {Type("int")}).child(DW_TAG_subrange_type, dim(-2, 2)).end()
      .label("stride").parent(DW_TAG_array_type, {Type("int"), {DW_AT_stride_size, DW_FORM_data1, 24}})
          .child(DW_TAG_subrange_type, dim(0, 9)).end()
      .label("sized").parent(DW_TAG_array_type, {Type("int"), Size(7)}).child(DW_TAG_subrange_type, dim(0, 9)).end()
      .label("open").parent(DW_TAG_array_type, {Type("int")}).end()
      .label("wraps").parent(DW_TAG_array_type, {Type("int")}).child(DW_TAG_subrange_type, dim(0, 0x7FFFFFFF)).end()
      .label("void*").child(DW_TAG_typedef)
      .label("loop").child(DW_TAG_typedef, {Type("loop2")}).label("loop2").child(DW_TAG_const_type, {Type("loop")})
      .label("inside").parent(DW_TAG_array_type, {Type("inside")}).child(DW_TAG_subrange_type, dim(0, 1)).end();
  // clang-format on
  const std::pair<const char*, int> facts[] = {{"int", 4},   {"ptr", 2},     {"const", 300}, {"grid", 300},
                                               {"row", 20},  {"stride", 30}, {"sized", 7},   {"open", 0},
                                               {"wraps", 0}, {"void*", 0},   {"loop", 0},    {"inside", 0}};
  unit.parent(DW_TAG_subprogram, {Name("f"), Low(1), High(2)});
  for (const auto& [name, size] : facts) unit.child(DW_TAG_variable, {Name(name), Type(name)});
  for (const auto& [name, size] : facts) unit.child(DW_TAG_formal_parameter, {Name(name), Type(name)});
  unit.end();
  for (const auto& [name, size] : facts) unit.child(DW_TAG_variable, {Name(name), Type(name)});
  unit.child(DW_TAG_variable, {Name("typeless")}).end();
  for (const ByteOrder order : bothOrders) {
    DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
    ASSERT_EQ(extended, 1);
    const DescProc* proc = Find(module->procs, "f");
    for (const auto& [name, size] : facts) {
      EXPECT_EQ(Find(module->vars, name)->byteSize, size) << name;
      EXPECT_EQ(Find(proc->locals, name)->byteSize, size) << name;
      EXPECT_EQ(Find(proc->params, name)->byteSize, 0) << name;
    }
    EXPECT_EQ(Find(module->vars, "typeless")->byteSize, 0);
  }
}

TEST_F(DelayLoad, BitFieldsCountFromTheLowEndUnlessTheProducerDoes) {
  const auto bits = [](int size) { return Attr(DW_AT_bit_size, DW_FORM_data1, size); };
  const auto offset = [](int value) { return Attr(DW_AT_bit_offset, DW_FORM_data2, value); };
  const Texts asRead = {"0 3 0", "13 3 0", "0 16 0", "44 8 0", "0 5 0"};       // offset, size, bytes
  const Texts renumbered = {"13 3 2", "0 3 2", "0 16 2", "220 8 2", "0 5 0"};  // without an offset it is no bit field
  for (const auto& [producer, fields] : {std::pair{"GNU C 12", renumbered},
                                         {"TARNIX", asRead},
                                         {"QUILLFORGE", asRead},
                                         {"TARNIX 2", renumbered},
                                         {"tarnix", renumbered}}) {
    // clang-format off
    const Unit unit = Unit().parent(DW_TAG_compile_unit, {UNIT_NAME, {DW_AT_producer, DW_FORM_string, producer}})
        .label("short").child(DW_TAG_base_type, {Size(2)})
        .parent(DW_TAG_structure_type, {Name("s")})
            .child(DW_TAG_member, {Type("short"), bits(3), offset(0)}).child(DW_TAG_member, {Type("short"), bits(3),
                offset(13)})
            .child(DW_TAG_member, {Type("short"), bits(16), offset(0)}).child(DW_TAG_member, {Type("short"), bits(8),
                offset(300)})
            .child(DW_TAG_member, {Type("short"), bits(5)}).end().end();
    // clang-format on
    DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit));
    EXPECT_EQ(module->ext->bitNumbering, fields == renumbered ? 2u : 1u);
    EXPECT_EQ(module->ext->pendingFields, nullptr);
    const auto text = [](const DescVar& var) {
      return std::to_string(var.bitOffset) + " " + std::to_string(var.bitSize) + " " + std::to_string(var.byteSize);
    };
    EXPECT_EQ(Listed(Find(module->types, "s")->items.members, text), fields);
  }
}

}  // namespace
