// Extend: one fill per module, and what is settled behind it: line-info procedures, bit fields, sizes.
#include <gtest/gtest.h>

#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"
#include "support/random.h"

namespace {

class DelayLoad : public HostTest {};

const Attr UNIT_NAME = Name("a.c");

TEST_F(DelayLoad, FillsOnceAndReportsTheFirstFailureOfABuild) {
  const Unit good = Unit().parent(DW_TAG_compile_unit, {UNIT_NAME}).child(DW_TAG_variable, {Name("x")}).end();
  const Unit bad = Unit().parent(DW_TAG_compile_unit, {Name("bad.c")}).child(DW_TAG_variable, {Name("kept")}).entry(99);
  DescModule* first = Load(Dwarf2File(ByteOrder::little, good, bad, bad));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(loader.Extend(nullptr, SYM_LOAD_ALL), 0);
  EXPECT_EQ(loader.Extend(first, 0), 0);
  EXPECT_EQ(first->loadedKinds, 0u);
  ItemInfo item(first);
  EXPECT_EQ(loader.Extend(&table, &item, SYM_LOAD_TYPES), 1);
  EXPECT_EQ(first->loadedKinds, 7u);
  EXPECT_EQ(loader.Extend(&table, &item, SYM_LOAD_ALL), 0) << "nothing was left to load";
  EXPECT_EQ(TakeMessages(), Texts{});

  for (DescModule* module = first->next; module != nullptr; module = module->next) {
    EXPECT_EQ(loader.Extend(module, SYM_LOAD_ALL), 0);
    EXPECT_EQ(TakeMessages(), module == first->next ? Texts{ERROR_IN_OBJECT_FILE} : Texts{});
    EXPECT_EQ(module->loadedKinds, 7u);
    EXPECT_EQ(Names(module->vars), Texts{"kept"});
    EXPECT_EQ(loader.Extend(module, SYM_LOAD_ALL), 0);
  }
}

// A module with procedures of the given ranges and one line range; the records that Extend adds behind them.
struct Range {
  uint32_t low, high;
};
Texts LineInfo(HostTest&, DescModule* module, size_t procs) {
  Texts texts;
  size_t index = 0;
  for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    if (index++ >= procs) {
      texts.emplace_back(proc->name);
      EXPECT_EQ(proc->returnType, nullptr);
      char expected[64];
      std::snprintf(expected, sizeof(expected), "Line Info from 0x%x to 0x%x", proc->lowPc, proc->highPc);
      EXPECT_STREQ(proc->name, expected);
    }
  }
  return texts;
}

TEST_F(DelayLoad, LineRangesGetProceduresWhereNoneCovers) {
  const struct {
    const char* what;
    std::vector<Range> procs;
    Range rows;  // addresses of the first and the last row
    Texts added;
  } facts[] = {
      {"no procedures", {}, {0x100, 0x13F}, {"Line Info from 0x100 to 0x140"}},
      {"inside one", {{0x100, 0x200}}, {0x180, 0x1FF}, {}},
      {"exactly one", {{0x100, 0x200}}, {0x100, 0x1FF}, {}},
      {"over its end", {{0x100, 0x200}}, {0x180, 0x240}, {"Line Info from 0x200 to 0x241"}},
      {"over its start", {{0x100, 0x200}}, {0x80, 0x120}, {"Line Info from 0x80 to 0x100"}},
      {"round it", {{0x100, 0x200}}, {0x80, 0x27F}, {"Line Info from 0x80 to 0x100", "Line Info from 0x200 to 0x280"}},
      {"round two, out of order",
       {{0x300, 0x380}, {0x100, 0x200}},
       {0x80, 0x3FF},
       {"Line Info from 0x80 to 0x100", "Line Info from 0x200 to 0x300", "Line Info from 0x380 to 0x400"}},
      {"an empty one is ignored", {{0x120, 0x120}}, {0x100, 0x13F}, {"Line Info from 0x100 to 0x140"}},
      {"behind one", {{0x100, 0x200}}, {0x200, 0x20F}, {"Line Info from 0x200 to 0x210"}},
      {"to the last address", {}, {0xFFFFFFF0, 0xFFFFFFFF}, {"Line Info from 0xfffffff0 to 0xffffffff"}},
      {"the last address alone", {}, {0xFFFFFFFF, 0xFFFFFFFF}, {}},
  };
  for (const auto& fact : facts) {
    Unit unit = Unit().parent(DW_TAG_compile_unit, {UNIT_NAME});
    for (const Range& proc : fact.procs) {
      unit.child(DW_TAG_subprogram, {Name("p"), Low(proc.low), High(proc.high)});
    }
    unit.end();
    LineProgram lines = LineProgram().file("a.c").setAddress(fact.rows.low).copy();
    for (uint32_t at = fact.rows.low; at != fact.rows.high;) {
      const uint32_t step = std::min(0x80u, fact.rows.high - at);
      lines.advancePc(step).copy();
      at += step;
    }
    DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit).section(".debug_line", lines.endSequence()));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(LineInfo(*this, module, fact.procs.size()), fact.added) << fact.what;
  }
}

// The rule as a walk over all procedures, against whatever stands in its place.
void Cover(std::vector<Range>& procs, uint32_t low, uint32_t high) {
  if (low >= high) {
    return;
  }
  for (size_t i = 0; i < procs.size(); ++i) {
    const Range proc = procs[i];
    if (proc.low >= proc.high) {
      continue;
    }
    if (proc.low <= low) {
      if (high <= proc.high) {
        return;
      }
      low = low < proc.high ? proc.high : low;
    }
    if (proc.low <= high && high < proc.high) {
      high = proc.low;
    }
    if (low < proc.low && proc.high < high) {
      Cover(procs, low, proc.low);
      low = proc.high;
    }
  }
  if (low < high) {
    procs.push_back({low, high});
  }
}

TEST_F(DelayLoad, LineRangesAreCoveredAsAWalkWouldCoverThem) {
  Random random(3);
  for (int round = 0; round < 60; ++round) {
    std::vector<Range> procs;
    Unit unit = Unit().parent(DW_TAG_compile_unit, {UNIT_NAME});
    for (uint32_t count = random.below(30); count > 0; --count) {
      const uint32_t low = 1 + random.below(400);
      procs.push_back({low, low + random.below(40)});
      unit.child(DW_TAG_subprogram, {Name("p"), Low(low), High(procs.back().high)});
    }
    LineProgram lines = LineProgram().file("a.c");
    for (uint32_t count = random.below(10); count > 0; --count) {
      const uint32_t low = 1 + random.below(400);
      const uint32_t size = random.below(100);
      lines.setAddress(low).copy().advancePc(size).copy().endSequence();
      Cover(procs, low, low + size + 1);
    }
    const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::little, unit.end()).section(".debug_line", lines));
    Texts expected;
    for (const Range& range : procs) {
      expected.push_back(std::to_string(range.low) + "-" + std::to_string(range.high));
    }
    ASSERT_EQ(
        Listed(module->procs,
               [](const DescProc& proc) { return std::to_string(proc.lowPc) + "-" + std::to_string(proc.highPc); }),
        expected)
        << round;
  }
}

TEST_F(DelayLoad, SizesFollowTypedefsAndQualifiersAndMultiplyDimensions) {
  const auto dimension = [](int low, int high) -> Attrs {
    return {{DW_AT_lower_bound, DW_FORM_sdata, low}, {DW_AT_upper_bound, DW_FORM_sdata, high}};
  };
  // clang-format off
  Unit unit = Unit()
      .parent(DW_TAG_compile_unit, {UNIT_NAME})
          .label("int").child(DW_TAG_base_type, {Size(4)})
          .label("ptr").child(DW_TAG_pointer_type, {Size(2), Type("grid")})
          .label("const").child(DW_TAG_const_type, {Type("volatile")})
          .label("volatile").child(DW_TAG_volatile_type, {Type("typedef")})
          .label("typedef").child(DW_TAG_typedef, {Type("grid")})
          .label("grid").parent(DW_TAG_array_type, {Type("row")})
              .child(DW_TAG_subrange_type, dimension(1, 3)).child(DW_TAG_subrange_type, dimension(0, 4)).end()
          .label("row").parent(DW_TAG_array_type, {Type("int")}).child(DW_TAG_subrange_type, dimension(-2, 2)).end()
          .label("stride").parent(DW_TAG_array_type, {Type("int"), {DW_AT_stride_size, DW_FORM_data1, 24}})
              .child(DW_TAG_subrange_type, dimension(0, 9)).end()
          .label("sized").parent(DW_TAG_array_type, {Type("int"), Size(7)})
              .child(DW_TAG_subrange_type, dimension(0, 9)).end()
          .label("open").parent(DW_TAG_array_type, {Type("int")}).end()
          .label("wraps").parent(DW_TAG_array_type, {Type("int")})
              .child(DW_TAG_subrange_type, dimension(0, 0x7FFFFFFF)).end()
          .label("void*").child(DW_TAG_typedef)
          .label("loop").child(DW_TAG_typedef, {Type("loop2")})
          .label("loop2").child(DW_TAG_const_type, {Type("loop")})
          .label("inside").parent(DW_TAG_array_type, {Type("inside")}).child(DW_TAG_subrange_type, dimension(0, 1)).end();
  const struct {
    const char* name;
    int size;
  } facts[] = {{"int", 4}, {"ptr", 2}, {"const", 300}, {"grid", 300}, {"row", 20}, {"stride", 30}, {"sized", 7},
               {"open", 0}, {"wraps", 0}, {"void*", 0}, {"loop", 0}, {"inside", 0}};
  // clang-format on
  unit.parent(DW_TAG_subprogram, {Name("f"), Low(1), High(2)});
  for (const auto& fact : facts) {
    unit.child(DW_TAG_variable, {Name(fact.name), Type(fact.name)});
    unit.child(DW_TAG_formal_parameter, {Name(fact.name), Type(fact.name)});
  }
  unit.end();
  for (const auto& fact : facts) {
    unit.child(DW_TAG_variable, {Name(fact.name), Type(fact.name)});
  }
  unit.child(DW_TAG_variable, {Name("typeless")}).end();
  for (const ByteOrder order : bothOrders) {
    DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
    ASSERT_EQ(extended, 1);
    const DescProc* proc = Find(module->procs, "f");
    for (const auto& fact : facts) {
      EXPECT_EQ(Find(module->vars, fact.name)->byteSize, fact.size) << fact.name;
      EXPECT_EQ(Find(proc->locals, fact.name)->byteSize, fact.size) << fact.name;
      EXPECT_EQ(Find(proc->params, fact.name)->byteSize, 0) << fact.name;
    }
    EXPECT_EQ(Find(module->vars, "typeless")->byteSize, 0);
  }
}

TEST_F(DelayLoad, BitFieldsCountFromTheLowEndUnlessTheProducerDoes) {
  const struct {
    const char* producer;
    bool renumbers;
  } producers[] = {{"GNU C 12", true}, {"TARNIX", false}, {"QUILLFORGE", false}, {"TARNIX 2", true}, {"tarnix", true}};
  const struct {
    int bitOffset, bitSize, renumbered;
  } fields[] = {{0, 3, 13}, {13, 3, 0}, {0, 16, 0}, {300 - 256, 8, (16 - 8 - 44) & 0xFF}};
  for (const auto& producer : producers) {
    Unit unit = Unit()
                    .parent(DW_TAG_compile_unit, {UNIT_NAME, {DW_AT_producer, DW_FORM_string, producer.producer}})
                    .label("short")
                    .child(DW_TAG_base_type, {Size(2)})
                    .parent(DW_TAG_structure_type, {Name("s")});
    for (const auto& field : fields) {
      unit.child(DW_TAG_member, {Type("short"),
                                 {DW_AT_bit_size, DW_FORM_data1, field.bitSize},
                                 {DW_AT_bit_offset, DW_FORM_data2, field.bitOffset}});
    }
    unit.child(DW_TAG_member, {Type("short"), {DW_AT_bit_size, DW_FORM_data1, 5}}).end().end();
    DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit));
    EXPECT_EQ(module->ext->bitNumbering, producer.renumbers ? 2u : 1u);
    EXPECT_EQ(module->ext->pendingFields, nullptr);
    const DescVar* member = Find(module->types, "s")->items.members;
    for (const auto& field : fields) {
      EXPECT_EQ(member->bitOffset, producer.renumbers ? field.renumbered : field.bitOffset);
      EXPECT_EQ(member->bitSize, field.bitSize);
      EXPECT_EQ(member->byteSize, producer.renumbers ? 2 : 0);
      member = member->next;
    }
    EXPECT_EQ(member->bitOffset, 0) << "without an offset it is no bit field";
    EXPECT_EQ(member->bitSize, 5);
    EXPECT_EQ(member->byteSize, 0);
  }
}

// A failed fill leaves sizes and pending fields as they are.
TEST_F(DelayLoad, PostPassesDoNotFollowAFailedFill) {
  const Unit unit = Unit()
                        .parent(DW_TAG_compile_unit, {UNIT_NAME})
                        .label("int")
                        .child(DW_TAG_base_type, {Size(4)})
                        .child(DW_TAG_variable, {Name("x"), Type("int")})
                        .entry(99);
  const auto lines = LineProgram().file("a.c").setAddress(0x10).copy().endSequence();
  DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit).section(".debug_line", lines));
  EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
  EXPECT_EQ(Find(module->vars, "x")->byteSize, 0);
  EXPECT_EQ(module->procs, nullptr);
}

}  // namespace
