// The finders: which modules a look-up fills, and which it returns.
#include <gtest/gtest.h>

#include <variant>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"
#include "support/host_fixture.h"

namespace {

class ModuleLookup : public HostTest {
 protected:
  // The number of the module with an address, and which modules were filled for it, as "1 0100".
  std::string AddressOf(const ElfFile& file, uint32_t address, FindKind kind) {
    DescModule* const first = Load(file);
    DescModule* found = nullptr;
    const int result = loader.FindModuleFromAdr(first, {address, 0}, &found, kind);
    int number = 0;
    for (const DescModule* module = first; result == 1 && module != found; module = module->next) ++number;
    return (result == 1 ? std::to_string(number) : "-") + " " + Filled();
  }
  std::string Filled() {
    std::string filled;
    for (const auto* module = table.Modules(); module != nullptr; module = module->next) {
      filled += module->loadedKinds != 0 ? '1' : '0';
    }
    return filled;
  }
};

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
      EXPECT_EQ(Filled(), question.filled) << &question - questions;
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

// As published, code alone does not decide about data.
TEST_F(ModuleLookup, SeeksDataPastCode) {
  const auto unit = [](const char* label, uint32_t address) {
    const Attr at = {DW_AT_location, DW_FORM_block1, Bytes().u8(DW_OP_addr).u32(address)};
    return Unit({.label = label})
        .parent(DW_TAG_compile_unit)
        .label(label + std::string(" int"))
        .child(DW_TAG_base_type, {Size(4)})
        .child(DW_TAG_variable, {Name("v"), Type(label + std::string(" int")), at})
        .end();
  };
  // 0: ranges of code. 1: of data too. 2: of code, and an index that has procedures alone. 3: of code, and an index
  // with a variable. 4: no ranges, and a variable that the linker threw away.
  const auto file = [&](ByteOrder order, bool hasSections) {
    const auto names = [](const char* label, uint8_t kind) {
      return Bytes().length().u16(2).ref(label).u32(0).u32(1).u8(kind).text("name").u32(0);
    };
    ElfFile all =
        Dwarf2File(order, unit("0", 0x500), unit("1", 0x600), unit("2", 0x700), unit("3", 0x800), unit("4", 0));
    all.section(".debug_aranges", ARanges("0").range(0x100, 0x10).end(),
                ARanges("1").range(0x110, 0x10).range(0x600, 4).end(), ARanges("2").range(0x120, 0x10).end(),
                ARanges("3").range(0x130, 0x10).end());
    all.section(".debug_gnu_pubnames", names("2", 0x30), names("3", 0x20));
    if (hasSections) {
      all.section(".text", Bytes().pad(0x100)).set(&ElfSectionHeader::sh_addr, 0x100);
      all.set(&ElfSectionHeader::sh_flags, SHF_ALLOC | SHF_EXECINSTR);
    }
    return all;
  };
  const struct {
    uint32_t address;
    FindKind kind;
    const char* loader;
    const char* published;
    const char* withoutSections;
  } facts[] = {
      {0x503, FIND_DATA, "- 00001", "0 10000", "0 10000"}, {0x500, FIND_ALL, "- 00001", "0 10000", "0 10000"},
      {0x500, FIND_CODE, "- 00001", "- 00001", "- 00001"}, {0x600, FIND_DATA, "1 01000", "1 01000", "1 01000"},
      {0x800, FIND_DATA, "- 00001", "3 10010", "3 11010"},  // unknown to 1 and 2, which an index answers for
      {0x128, FIND_ALL, "2 00100", "2 00100", "2 00100"},  {0x1, FIND_DATA, "4 00001", "- 10011", "- 11011"},
  };
  for (const ByteOrder order : bothOrders) {
    for (const auto& fact : facts) {
      EXPECT_EQ(AddressOf(file(order, true), fact.address, fact.kind), fact.loader) << Hex(fact.address);
      const EnvironmentValue published("DWARFRULES", "PUBLISHED");
      EXPECT_EQ(AddressOf(file(order, true), fact.address, fact.kind), fact.published) << Hex(fact.address);
      EXPECT_EQ(AddressOf(file(order, false), fact.address, fact.kind), fact.withoutSections) << Hex(fact.address);
    }
  }
}

// As published, a static address has the size of its unit's addresses.
TEST_F(ModuleLookup, ReadsAddressesBySize) {
  for (const ByteOrder order : bothOrders) {
    const Attr at = {DW_AT_location, DW_FORM_block1, Bytes().u8(DW_OP_addr).u16(0x500).u8(0x23).u8(1)};
    const Unit unit = Unit({.addressSize = 2})
                          .parent(DW_TAG_compile_unit)
                          .label("int")
                          .child(DW_TAG_base_type, {Size(2)})
                          .child(DW_TAG_variable, {Name("v"), Type("int"), at})
                          .end();
    EXPECT_EQ(AddressOf(Dwarf2File(order, unit), 0x501, FIND_DATA), "- 1");
    const EnvironmentValue published("DWARFRULES", "PUBLISHED");
    EXPECT_EQ(AddressOf(Dwarf2File(order, unit), 0x501, FIND_DATA), "0 1");
    EXPECT_EQ(AddressOf(Dwarf2File(order, unit), 0x502, FIND_DATA), "- 1");
  }
}

}  // namespace
