// What the end of a file leaves of an entry.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1Damage);

// Strings and blocks that the file ends latch; a length of 2^31 skips nothing.
TEST_P(Dwarf1Damage, WhatTheFileCannotBack) {
  const struct {
    Bytes attributes;  // of a variable; the file ends behind them
    const char* failure;
    uint32_t tag = TAG_global_variable;
  } facts[] = {
      {Bytes().u16(AT_name | +FORM_STRING).raw({'a', 'b'}), "string without end"},
      {Bytes().u16(AT_producer | +FORM_STRING).raw({'a'}), "string without end"},
      {Bytes().u16(AT_location | +FORM_BLOCK2).u16(500).u8(OP_ADDR), "block without end"},
      {Bytes().u16(AT_element_list | +FORM_BLOCK4).u32(500).u32(1).text("A"), "element list without end",
       TAG_enumeration_type},
      {Bytes().u16(AT_ordering | +FORM_BLOCK4).u32(0x80000000), ""},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.failure);
    Bytes debug = Bytes().append(Dwarf1Entries().entry(TAG_compile_unit, {at::name("a.c"), at::sibling(0)}));
    debug.u32(fact.attributes.size() + 6).u16(fact.tag).append(fact.attributes);
    const RawBytes bytes = EndingWith(Dwarf1File(GetParam(), Bytes()), debug.In(GetParam()), debug.size());
    DescModule* module = LoadPath(TempFolder::OfProcess().Write("cut.elf", bytes));
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(FillDwarf1Module(loader.image, module, nullptr), 0);
    EXPECT_TRUE(module->vars != nullptr || module->typeCount == 1);
    EXPECT_TRUE(fact.failure[0] == 0 || dwarf1State.failure == std::string(fact.failure)) << dwarf1State.failure;
  }
}

}  // namespace
