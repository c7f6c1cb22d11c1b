// Subprograms: attributes, children in their lists, specifications, and what the walk passes over.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

class Subprograms : public HostTest {};

Attr Specified(const char* label) { return {DW_AT_specification, DW_FORM_ref4, label}; }
Attr Block(uint32_t attribute, uint8_t operation) { return {attribute, DW_FORM_block1, Bytes().u8(operation)}; }

TEST_F(Subprograms, TakeAttributesAndDirectChildren) {
  constexpr uint32_t MARK = 0x6871;
  // clang-format off
  for (const uint8_t size : addressSizes) {
    const Unit unit = Unit({.addressSize = size})
        .parent(DW_TAG_compile_unit)
            .parent(DW_TAG_subprogram, {Name("main"), Low(0x1234), High(0x1334), Type("int"),
                                        {DW_AT_prototyped, DW_FORM_flag, 2}, {DW_AT_segment, DW_FORM_data2, 0x1234},
                                        Block(DW_AT_frame_base, 0x51), {DW_AT_return_addr, DW_FORM_block1, Bytes()}})
                .child(DW_TAG_variable, {Name("v1")})
                .child(DW_TAG_formal_parameter, {Name("p1"), Type("int")})
                .child(MARK, {Name("x"), Low(0x1240)})
                .parent(DW_TAG_lexical_block)
                    .child(DW_TAG_variable, {Name("lost")})
                    .parent(DW_TAG_lexical_block).child(DW_TAG_structure_type, {Name("lost type")}).end().end()
                .parent(DW_TAG_inlined_subroutine).child(DW_TAG_formal_parameter, {Name("lost")}).end()
                .parent(DW_TAG_subprogram, {Name("lost")}).child(DW_TAG_variable, {Name("lost")}).end()
                .child(DW_TAG_label, {Name("lost"), Low(0x1250)})
                .parent(DW_TAG_structure_type, {Name("local type")}).end()
                .parent(DW_TAG_unspecified_parameters).child(DW_TAG_variable, {Name("lost")}).end()
                .child(DW_TAG_formal_parameter, {Name("p2")})
                .child(MARK).child(MARK, {{DW_AT_low_pc, DW_FORM_data4, 0x1260}})
                .child(DW_TAG_variable, {Name("v2")}).end()
            .child(MARK, {Low(1)})
            .label("int").child(DW_TAG_base_type, {Name("int"), Size(2)})
            .child(DW_TAG_subprogram, {Name("next")}).end();
    // clang-format on
    for (const ByteOrder order : bothOrders) {
      const DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
      ASSERT_EQ(extended, 1);
      EXPECT_EQ(Described(module->procs), (Texts{"main 1234-1334", "next 0-0"}));
      const DescProc* proc = module->procs;
      EXPECT_EQ(Described(proc->params), (Texts{"p1:int", "p2:undefined"}));
      EXPECT_EQ(Described(proc->locals), (Texts{"v1:undefined", "v2:undefined"}));
      EXPECT_EQ(Listed(proc->codeMarks, [](const DescCodeMark& mark) { return Hex(mark.address); }),
                (Texts{"1240", "0", "0"}));
      EXPECT_EQ(NameOf(proc->returnType), "int");
      EXPECT_EQ(proc->prototyped, 1u);
      EXPECT_EQ(proc->segment, 0x34);
      EXPECT_EQ(proc->frameBase->expression[0], 0x51);
      EXPECT_EQ(proc->frameBase->highPc, 0xFFFFFFFF);
      ASSERT_NE(proc->returnAddress, nullptr) << "an empty block is a location too";
      EXPECT_EQ(NameOf(proc->next->returnType), "void");
      EXPECT_EQ(Names(module->types), (Texts{"local type", "int"}));
    }
  }
}

TEST_F(Subprograms, CodesAndForms) {
  const struct {
    Attr attr;
    uint32_t DescProc::*field;
    uint32_t expected;
    int extended = 1;
  } facts[] = {
      {{DW_AT_calling_convention, DW_FORM_data1, 1}, &DescProc::callKind, CALL_NORMAL},
      {{DW_AT_calling_convention, DW_FORM_data1, 2}, &DescProc::callKind, CALL_NORMAL},
      {{DW_AT_calling_convention, DW_FORM_udata, 3}, &DescProc::callKind, CALL_NOCALL},
      {{DW_AT_calling_convention, DW_FORM_data2, 0x140}, &DescProc::callKind, CALL_VENDOR},
      {{DW_AT_calling_convention, DW_FORM_data1, 0x41}, &DescProc::callKind, CALL_NORMAL},
      {{DW_AT_calling_convention, DW_FORM_flag, 3}, &DescProc::callKind, CALL_NORMAL, 0},
      {{DW_AT_prototyped, DW_FORM_data1, 1}, &DescProc::prototyped, 0},
      {{DW_AT_high_pc, DW_FORM_data4, 0x20}, &DescProc::highPc, 0},
      {{DW_AT_low_pc, DW_FORM_udata, 0x20}, &DescProc::lowPc, 0},
  };
  for (const auto& fact : facts) {
    const Unit unit = Unit().parent(DW_TAG_compile_unit).child(DW_TAG_subprogram, {Name("f"), fact.attr}).end();
    const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit));
    EXPECT_EQ(extended, fact.extended);
    EXPECT_EQ(TakeMessages().size(), fact.extended == 1 ? 0u : 1u);
    EXPECT_EQ(Find(module->procs, "f")->*fact.field, fact.expected) << fact.attr.attribute;
  }
}

// A definition takes name and type from its declaration; the declaration's children stay where they are.
TEST_F(Subprograms, SpecificationsAreChased) {
  // clang-format off
  const Unit unit = Unit().parent(DW_TAG_compile_unit)
      .parent(DW_TAG_class_type, {Name("c")})
          .label("method").parent(DW_TAG_subprogram, {Name("method"), Type("int")})
              .child(DW_TAG_formal_parameter, {Name("declared")}).end().end()
      .parent(DW_TAG_subprogram, {Specified("again"), Name("overwritten"), Low(4), High(8)})
          .child(DW_TAG_formal_parameter, {Name("defined")}).end()
      .label("again").child(DW_TAG_subprogram, {Specified("method"), Low(6)})
      .label("int").child(DW_TAG_base_type, {Name("int")})
      .child(DW_TAG_subprogram, {{DW_AT_abstract_origin, DW_FORM_ref4, "method"}})
      .label("x").child(DW_TAG_variable, {Name("x"), Type("int"), Block(DW_AT_location, 0x51)})
      .child(DW_TAG_variable, {Name("y"), Specified("x"), Block(DW_AT_location, 0x52)})
      .child(DW_TAG_variable, {Name("z")}).end();
  // clang-format on
  for (const ByteOrder order : bothOrders) {
    const DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
    ASSERT_EQ(extended, 1);
    EXPECT_EQ(Described(module->procs), (Texts{"method 6-8", "method 6-0", " 0-0"}));
    EXPECT_EQ(NameOf(module->procs->returnType), "int");
    EXPECT_EQ(Names(module->procs->params), Texts{"defined"});
    EXPECT_EQ(Described(Find(module->types, "c")->target.memberFunctions), Texts{"method 0-0"});
    EXPECT_EQ(Described(module->vars), (Texts{"x:int", "x:int", "z:undefined"}));
    EXPECT_EQ(module->vars->next->location->expression[0], 0x51) << "the specification overwrites";
  }
}

TEST_F(Subprograms, SpecificationsThatLeadNowhereEnd) {
  for (const uint32_t tag : {DW_TAG_subprogram, DW_TAG_variable}) {
    for (const Attr& attr : {Specified("a"), Specified("b"), Attr(DW_AT_specification, DW_FORM_ref4, 0x7FFFFFFF),
                             Attr(DW_AT_specification, DW_FORM_data4, 0x20)}) {
      Unit unit = Unit().parent(DW_TAG_compile_unit).label("a").child(tag, {Name("a"), attr});
      LoadAndExtend(Dwarf2File(ByteOrder::big, unit.label("b").child(tag, {Name("b"), Specified("a")}).end()));
      EXPECT_EQ(extended, 0);
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    }
  }
}

}  // namespace
