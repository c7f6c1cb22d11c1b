// Damaged files: everything ends, records stay whole, heaps are released. Sanitizers see the rest.
#include <fstream>

#include "dwarf1/dwarf1_test.h"
#include "support/random.h"

namespace {

DWARF1_TESTS(Dwarf1Damage);

void ExpectWhole(const DescModule* modules) {
  size_t texts = 0;
  for (; modules != nullptr; modules = modules->next) {
    texts += Names(modules->vars).size() + Names(modules->procs).size();
    for (const DescProc* proc = modules->procs; proc != nullptr; proc = proc->next) {
      texts += Names(proc->params).size() + Names(proc->locals).size();
    }
    for (const DescType* type = modules->types; type != nullptr; type = type->next) {
      EXPECT_NE(type->name, nullptr);
      if (type->kind >= KIND_STRUCT && type->kind <= KIND_CLASS) {
        texts += Names(type->items.members).size() + Names(type->target.memberFunctions).size();
      }
    }
    ExpectWhole(modules->ext->mergedModules);
  }
  EXPECT_LT(texts, 100000U) << "endless lists";
}

// The sample's debug sections, byte by byte; what the user is told is no matter.
TEST_F(HostTest, AnyByteOfADwarf1FileMayBeWrong) {
  std::ifstream file(ELFLOAD_DWARF1_SAMPLE, std::ios::binary);
  const RawBytes whole((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ASSERT_GT(whole.size(), 10000U);
  const OpenedImage image(ELFLOAD_DWARF1_SAMPLE);
  ASSERT_EQ(ELF_SeekSection(image, 0, ".debug"), 1);
  const size_t start = whole.size() - ELF_BytesLeft(image);
  Random random(1);
  const uint8_t values[] = {0, 1, 3, 8, 0x11, 0x13, 0x16, 0x7F, 0x80, 0xFF};
  for (uint32_t i = 0; i < 300; ++i) {
    RawBytes damaged = whole;
    for (uint32_t count = 1 + i % 9; count > 0; --count) {
      damaged[start + random.below(ELF_SectionSize(image, ".debug"))] = values[random.below(std::size(values))];
    }
    for (DescModule* module = LoadPath(TempFolder::OfProcess().Write("damaged.elf", damaged)); module != nullptr;) {
      loader.Extend(module, SYM_LOAD_ALL);
      module = module->next;
    }
    ExpectWhole(table.Modules());
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
