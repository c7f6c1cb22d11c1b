// The finders: which module they give, and which they fill on the way.
#include <gtest/gtest.h>

#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"

namespace {

// Units, in list order: `plain` has nothing but its records; `ranged` has its own range; `listed` has both indexes,
// with a name and a range that it does not hold; `last` is like `plain`.
class Finders : public HostTest, public testing::WithParamInterface<ByteOrder> {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    const auto expression = [](const Bytes& bytes) { return Attr(DW_AT_location, DW_FORM_block1, bytes); };
    const auto at = [&](uint32_t address) { return expression(Bytes().u8(DW_OP_addr).u32(address)); };
    // clang-format off
    const Unit plain = Unit().parent(DW_TAG_compile_unit, {Name("plain.c")})
        .label("int").child(DW_TAG_base_type, {Size(4)})
        .parent(DW_TAG_subprogram, {Name("start"), Low(0x100), High(0x180)})
            .child(DW_TAG_variable, {Name("local"), at(0x9000)}).child(DW_TAG_formal_parameter, {Name("param")}).end()
        .child(DW_TAG_variable, {Name("counter"), Type("int"), at(0x8000)})
        .child(DW_TAG_variable, {Name("stacked"), Type("int"), expression(Bytes().u8(DW_OP_fbreg).u32(0x8800))})
        .child(DW_TAG_variable, {Name("nowhere"), Type("int")}).end();
    const Unit ranged = Unit().parent(DW_TAG_compile_unit, {Name("ranged.c"), Low(0x200), High(0x300)})
        .child(DW_TAG_subprogram, {Name("outside"), Low(0x500), High(0x600)}).end();
    const Unit listed = Unit().parent(DW_TAG_compile_unit, {Name("listed.c")})
        .child(DW_TAG_subprogram, {Name("unlisted"), Low(0x700), High(0x780)})
        .child(DW_TAG_variable, {Name("data"), at(0x8100)}).end();
    const Unit last = Unit().parent(DW_TAG_compile_unit, {Name("last.c")})
        .label("long").child(DW_TAG_base_type, {Size(8)})
        .child(DW_TAG_label, {Name("here"), Low(0x900), High(0x910)})
        .child(DW_TAG_variable, {Name("tail"), Type("long"), at(0x8200)}).end();
    // clang-format on
    file_ = Dwarf2File(GetParam(), plain, ranged, listed, last);
  }

  DescModule* LoadModules() {
    DescModule* first = Load(file_);
    first->next->next->ext->globalNames = &names_[0];
    first->next->next->ext->addrRanges = &ranges_[0];
    return first;
  }

  // "found:filled" by indexes in list order, of a table built afresh, for each kind of question; "-" when nothing is
  // found. Kind 3 asks the index of names alone.
  template <class Finder>
  Texts Decisions(Finder find) {
    Texts texts;
    for (const FindKind kind : {FindKind(FIND_ALL), FindKind(FIND_CODE), FindKind(FIND_DATA), FindKind(3)}) {
      DescModule* first = LoadModules();
      DescModule* found = first;
      const bool isFound = find(first, &found, kind) == 1;
      EXPECT_TRUE(isFound || found == first) << "the out argument is left alone";
      std::string text = isFound ? "" : "-";
      std::string filled = ":";
      char index = '0';
      for (DescModule* module = first; module != nullptr; module = module->next, ++index) {
        text += isFound && module == found ? std::string(1, index) : "";
        filled += module->loadedKinds == SYM_LOAD_ALL ? std::string(1, index) : "";
      }
      texts.push_back(text + filled);
    }
    return texts;
  }

  ElfFile file_;
  char data_[5] = "data";
  char ghost_[6] = "ghost";
  DescGlobalName names_[2] = {{&names_[1], data_}, {nullptr, ghost_}};
  DescAddrRange ranges_[2] = {{&ranges_[1], 0x800, 0x80F}, {nullptr, 0x8100, 0x8103}};
};
INSTANTIATE_TEST_SUITE_P(BothOrders, Finders, testing::ValuesIn(bothOrders));

TEST_P(Finders, ByName) {
  const std::pair<const char*, Texts> facts[] = {
      {"start", {"0:0", "0:0", "-:013", "-:013"}},
      {"counter", {"0:0", "-:013", "0:0", "-:013"}},
      {"outside", {"1:01", "1:01", "-:013", "-:013"}},
      {"data", {"2:012", "2:012", "2:012", "2:012"}},      // the index has no kinds
      {"ghost", {"2:012", "2:012", "2:012", "2:012"}},     // and holds a name that the records lack
      {"unlisted", {"-:013", "-:013", "-:013", "-:013"}},  // and the other way round
      {"here", {"3:013", "3:013", "-:013", "-:013"}},
      {"tail", {"3:013", "-:013", "3:013", "-:013"}},
      {"local", {"-:013", "-:013", "-:013", "-:013"}},
      {"param", {"-:013", "-:013", "-:013", "-:013"}},
      {"Start", {"-:013", "-:013", "-:013", "-:013"}},
  };
  for (const auto& [name, decisions] : facts) {
    EXPECT_EQ(Decisions([this, name = name](DescModule* first, DescModule** found, FindKind kind) {
                return loader.FindModuleFromName(first, name, found, kind);
              }),
              decisions)
        << name;
  }
}

TEST_P(Finders, ByAddress) {
  const Texts byRange = {"-:03", "-:03", "-:013", "-:013"};  // a unit with a range or ranges is judged by them alone
  const std::pair<uint32_t, Texts> facts[] = {
      {0x100, {"0:0", "0:0", "-:013", "-:013"}},
      {0x17F, {"0:0", "0:0", "-:013", "-:013"}},
      {0x180, byRange},
      {0x200, {"1:01", "1:01", "-:013", "-:013"}},
      {0x2FF, {"1:01", "1:01", "-:013", "-:013"}},
      {0x300, byRange},
      {0x500, byRange},
      {0x700, byRange},
      {0x800, {"2:02", "2:02", "2:012", "2:012"}},
      {0x80F, {"2:02", "2:02", "2:012", "2:012"}},
      {0x810, byRange},
      {0x900, {"3:03", "3:03", "-:013", "-:013"}},
      {0x8000, {"0:0", "-:03", "0:0", "-:013"}},
      {0x8003, {"0:0", "-:03", "0:0", "-:013"}},
      {0x8004, byRange},
      {0x8207, {"3:03", "-:03", "3:013", "-:013"}},
      {0x8800, byRange},
      {0x9000, byRange},
  };
  for (const auto& [address, decisions] : facts) {
    EXPECT_EQ(Decisions([this, address = address](DescModule* first, DescModule** found, FindKind kind) {
                return loader.FindModuleFromAdr(first, {address, 0}, found, kind);
              }),
              decisions)
        << std::hex << address;
  }
}

TEST_P(Finders, StartWhereTheyAreTold) {
  DescModule* first = LoadModules();
  DescModule* found = nullptr;
  EXPECT_EQ(loader.FindModuleFromName(nullptr, "start", &found, FIND_ALL), 0);
  EXPECT_EQ(loader.FindModuleFromAdr(nullptr, {0x100, 0}, &found, FIND_ALL), 0);
  EXPECT_EQ(loader.FindModuleFromName(first->next, "start", &found, FIND_ALL), 0);
  EXPECT_EQ(loader.FindModuleFromAdr(first->next, {0x100, 0}, &found, FIND_ALL), 0);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(first->loadedKinds, 0u);
}

}  // namespace
