// Damaged files: everything ends, records can be read, heaps are released. Sanitizers see the rest.
#include <fstream>

#include "dwarf1/dwarf1_test.h"
#include "support/random.h"

namespace {

DWARF1_TESTS(Dwarf1Damage);

// The sample's `.debug`; what the user is told is no matter.
TEST_F(HostTest, AnyByteOfADwarf1FileMayBeWrong) {
  std::ifstream file(ELFLOAD_DWARF1_SAMPLE, std::ios::binary);
  const RawBytes whole((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const OpenedImage image(ELFLOAD_DWARF1_SAMPLE);
  ASSERT_EQ(ELF_SeekSection(image, 0, ".debug"), 1);
  const size_t start = whole.size() - static_cast<size_t>(ELF_BytesLeft(image));
  Random random(1);
  for (uint32_t round = 0; round < 300; ++round) {
    RawBytes damaged = whole;
    for (uint32_t count = 1 + round % 9; count > 0; --count) {
      damaged[start + random.below(ELF_SectionSize(image, ".debug"))] = static_cast<uint8_t>(random.below(256));
    }
    DescModule* module = LoadPath(TempFolder::OfProcess().Write("damaged.elf", damaged));
    for (; module != nullptr; module = module->next) {
      loader.Extend(module, SYM_LOAD_ALL);
      EXPECT_LT(Names(module->types).size() + Names(module->procs).size() + Names(module->vars).size(), 5000U);
    }
    TakeMessages();
  }
}

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
