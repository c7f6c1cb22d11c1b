// The finders: which modules a look-up fills, and which it returns.
#include <gtest/gtest.h>

#include <variant>

#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"

namespace {

class ModuleLookup : public HostTest {};

constexpr int NOWHERE = -1;

struct Question {
  std::variant<const char*, uint32_t> what;  // a name or an address
  FindKind kind;
  int module;          // found from the first module on
  const char* filled;  // '1' for each module that was filled for it
};

const Attr AT_500 = {DW_AT_location, DW_FORM_block1, Bytes().u8(DW_OP_addr).u32(0x500)};
const Attr ON_THE_STACK = {DW_AT_location, DW_FORM_block1, Bytes().u8(DW_OP_fbreg).u32(0x600)};

// 0: own range, names. 1: ranges, no names. 2: nothing but records. 3: names, own range, and a fill that fails.
ElfFile Modules(ByteOrder order) {
  const auto unit = [](const char* label, const Attrs& attrs) {
    return Unit({.label = label}).parent(DW_TAG_compile_unit, attrs);
  };
  // clang-format off
  return Dwarf2File(order,
      unit("0", {Low(0x100), High(0x200)}).child(DW_TAG_variable, {Name("unlisted"), AT_500}).end(),
      unit("1", {}).parent(DW_TAG_subprogram, {Name("both"), Low(0x700), High(0x710)}).end().end(),
      unit("2", {}).label("int").child(DW_TAG_base_type, {Size(4)})
          .parent(DW_TAG_subprogram, {Name("code"), Low(0x400), High(0x410)})
              .child(DW_TAG_variable, {Name("local"), AT_500}).child(DW_TAG_formal_parameter, {Name("param")}).end()
          .child(DW_TAG_label, {Name("label"), Low(0x440)})
          .child(DW_TAG_variable, {Name("both"), Type("int"), AT_500})
          .child(DW_TAG_variable, {Name("sizeless"), {DW_AT_location, DW_FORM_block1, Bytes().u8(3).u32(0x520)}})
          .child(DW_TAG_variable, {Name("pushed"), Type("int"), ON_THE_STACK}).end(),
      unit("3", {Low(0x100), High(0x300)}).child(DW_TAG_variable, {Name("kept")}).entry(99))
      .section(".debug_pubnames", PubNames("0").name(1, "main").name(1, "twice").end(),
                                  PubNames("3").name(1, "twice").name(1, "bad").name(1, "bad").end())
      .section(".debug_aranges", ARanges("1").range(0x300, 0x10).range(0x180, 4).end());
  // clang-format on
}

const Question questions[] = {
    {"main", FIND_ALL, 0, "1000"},
    {"main", FIND_DATA, 0, "1000"},  // an index has no kinds
    {"twice", 77, 0, "1000"},
    {"bad", FIND_ALL, 3, "0111"},  // whatever the fill comes to
    {"both", FIND_ALL, 1, "0100"},
    {"both", FIND_CODE, 1, "0100"},
    {"both", FIND_DATA, 2, "0110"},
    {"label", FIND_CODE, 2, "0110"},
    {"unlisted", FIND_ALL, NOWHERE, "0110"},  // on no index, so its module is not looked into
    {"local", FIND_ALL, NOWHERE, "0110"},
    {"param", FIND_ALL, NOWHERE, "0110"},
    {0x180u, FIND_ALL, 0, "1000"},   // the first of those that hold it
    {0x180u, FIND_DATA, 1, "1100"},  // an own range is of code only
    {0x1FFu, FIND_CODE, 0, "1000"},
    {0x200u, FIND_CODE, 3, "0011"},
    {0x30Fu, FIND_ALL, 1, "0100"},
    {0x310u, FIND_ALL, NOWHERE, "0010"},
    {0x40Fu, FIND_CODE, 2, "0010"},
    {0x410u, FIND_CODE, NOWHERE, "0010"},
    {0x503u, FIND_DATA, 2, "1010"},
    {0x504u, FIND_ALL, NOWHERE, "0010"},
    {0x520u, FIND_ALL, NOWHERE, "0010"},
    {0x600u, FIND_ALL, NOWHERE, "0010"},
    {0x700u, FIND_ALL, NOWHERE, "0010"},  // its module is decided by its ranges
};

TEST_F(ModuleLookup, FillsAsFewModulesAsTheIndexesAllow) {
  const auto ask = [this](const Question& question) {
    DescModule* const first = table.Modules();
    DescModule* found = first;
    const int result = question.what.index() == 0
                           ? loader.FindModuleFromName(first, std::get<0>(question.what), &found, question.kind)
                           : loader.FindModuleFromAdr(first, {std::get<1>(question.what), 0}, &found, question.kind);
    int number = 0;
    for (DescModule* module = first; result == 1 && module != found; module = module->next) ++number;
    EXPECT_TRUE(result == 1 || found == first) << "the out argument is left alone";
    return result == 1 ? number : NOWHERE;
  };
  for (const ByteOrder order : bothOrders) {
    const std::string path = Modules(order).write();
    for (const Question& question : questions) {
      ASSERT_NE(LoadPath(path), nullptr);
      EXPECT_EQ(ask(question), question.module) << &question - questions;
      std::string filled;
      for (const auto* module = table.Modules(); module != nullptr; module = module->next) {
        filled += module->loadedKinds != 0 ? '1' : '0';
      }
      EXPECT_EQ(filled, question.filled) << &question - questions;
      TakeMessages();
    }
    // The same answers where look-ups repeat and a hash takes over, also when a second build follows.
    RecordTable other;
    for (int round = 0; round < 12; ++round) {
      for (const Question& question : questions) EXPECT_EQ(ask(question), question.module) << &question - questions;
      ASSERT_TRUE(round != 8 || loader.Build(&other) == 1);
      if (round == 10) other.Reset(nullptr);
    }
    TakeMessages();
  }
}

TEST_F(ModuleLookup, BeginsAtTheGivenModule) {
  DescModule* second = Load(Modules(ByteOrder::big))->next;
  DescModule* found = nullptr;
  for (int round = 0; round < 100; ++round) {
    EXPECT_EQ(loader.FindModuleFromName(nullptr, "main", &found, FIND_ALL), 0);
    EXPECT_EQ(loader.FindModuleFromName(second, "main", &found, FIND_ALL), 0);
    EXPECT_EQ(loader.FindModuleFromName(second, "twice", &found, FIND_ALL), 1);
    EXPECT_EQ(found, second->next->next);
  }
  TakeMessages();
}

}  // namespace
