// The walk over the tree of entries: what is passed over, what ends a level, and how deep it goes.
#include <gtest/gtest.h>

#include <set>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

class Dispatch : public HostTest {};

TEST_F(Dispatch, SkipsForeignTagsWithTheirSubtree) {
  const std::set<uint32_t> known = {0x01, 0x02, 0x04, 0x0A, 0x0F, 0x10, 0x13, 0x15,
                                    0x16, 0x17, 0x24, 0x26, 0x2E, 0x34, 0x35};
  Unit unit = Unit().parent(DW_TAG_compile_unit);
  for (uint32_t tag = 1; tag < 0x60; ++tag) {
    if (!known.contains(tag)) {
      // clang-format off
      unit.parent(tag, {{DW_AT_sibling, DW_FORM_ref4, 1}, Name("x")})
          .child(DW_TAG_base_type, {Name("lost")})
          .parent(DW_TAG_subprogram, {Name("lost")}).child(DW_TAG_variable, {Name("lost")}).end().end();
      // clang-format on
    }
  }
  unit.child(0x6871, {Low(1)}).child(0xFFFFFFFF).child(DW_TAG_variable, {Name("behind")}).end();
  for (const ByteOrder order : bothOrders) {
    const DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
    EXPECT_EQ(extended, 1);
    EXPECT_EQ(Names(module->vars), Texts{"behind"});
    EXPECT_EQ(module->types, nullptr);
    EXPECT_EQ(module->procs, nullptr);
  }
}

// The closing null entry of children that nobody walks ends the level above; those children stand on that level.
TEST_F(Dispatch, ChildrenThatAreNotWalkedFollowOnTheLevelOfTheirParent) {
  for (const uint32_t tag : {DW_TAG_pointer_type, DW_TAG_reference_type, DW_TAG_typedef, DW_TAG_base_type,
                             DW_TAG_const_type, DW_TAG_volatile_type, DW_TAG_variable, DW_TAG_label}) {
    Unit unit = Unit().parent(DW_TAG_compile_unit).parent(tag, {Name("it")});
    unit.child(DW_TAG_subprogram, {Name("inside")}).end().child(DW_TAG_subprogram, {Name("lost")}).end();
    const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit));
    EXPECT_EQ(extended, 1);
    EXPECT_EQ(Find(module->procs, "inside")->next, nullptr) << tag;
  }
}

TEST_F(Dispatch, ACodeThatTheTableLacksEndsTheFillAtAnyDepth) {
  // clang-format off
  const Unit unit = Unit().parent(DW_TAG_compile_unit)
      .child(DW_TAG_variable, {Name("v")})
      .parent(DW_TAG_subprogram, {Name("f")})
          .child(DW_TAG_variable, {Name("local")})
          .parent(DW_TAG_structure_type, {Name("s")})
              .child(DW_TAG_member, {Name("m")}).entry(99).child(DW_TAG_member, {Name("lost")}).end()
          .child(DW_TAG_variable, {Name("lost")}).end().end();
  // clang-format on
  const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::little, unit));
  EXPECT_EQ(extended, 0);
  EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
  EXPECT_EQ(Names(module->vars), Texts{"v"});
  EXPECT_EQ(Names(Find(module->procs, "f")->locals), Texts{"local"});
  EXPECT_EQ(Names(Find(module->types, "s")->items.members), Texts{"m"});
}

// Ordinary files stay below 40 levels. A million that have records end with a failure, not with the stack; a skipped
// subtree needs no stack.
TEST_F(Dispatch, NestingHasALimit) {
  const struct {
    uint32_t tag, depth;
    int result;
  } facts[] = {
      {DW_TAG_lexical_block, 1000000, 1}, {DW_TAG_structure_type, 500, 1},      {DW_TAG_structure_type, 1000000, 0},
      {DW_TAG_subroutine_type, 500, 1},   {DW_TAG_subroutine_type, 1000000, 0}, {DW_TAG_subprogram, 1000000, 1},
  };
  for (const auto& fact : facts) {
    Unit unit = Unit().parent(DW_TAG_compile_unit).child(DW_TAG_variable, {Name("v")}).parent(fact.tag);
    constexpr uint8_t CODE_OF_PARENT = 3;
    unit.pad(fact.depth - 1, CODE_OF_PARENT).pad(fact.depth + 1);
    const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit));
    EXPECT_EQ(extended, fact.result) << fact.tag << " " << fact.depth;
    EXPECT_EQ(TakeMessages().size(), fact.result == 1 ? 0u : 1u);
    EXPECT_EQ(Names(module->vars), Texts{"v"});
  }
}

}  // namespace
