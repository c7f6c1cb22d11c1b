// Variables with their locations, type attributes, references by key, typedefs and the sizes of basic types.
#include <cstring>

#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1Types);

Dwarf1Entries Var(const std::string& name, const Dwarf1Attr& attr) {
  return Dwarf1Entries().entry(TAG_global_variable, {attr, at::name(name)});
}

// Each attribute is in front of the name, so that a wrong count of consumed bytes shows.
TEST_P(Dwarf1Types, TypeAttributes) {
  const RawBytes longChain(1030, MOD_pointer_to);
  const struct {
    Dwarf1Attr attr;
    std::string type;
    uint32_t records;  // on the module's list
    int filled = 1;
  } facts[] = {
      {at::fundType(FT_integer), "int", 0},
      {at::fundType(0xFFFF), "???", 0},
      {at::data4(AT_fund_type, FT_char), "char", 0},
      {at::data8(AT_fund_type, FT_long, FT_char), "long", 0},
      {at::raw(AT_fund_type, FORM_ADDR, Bytes().u32(FT_char).u32(0)), "char", 0},
      {at::modFundType({}, FT_short), "short", 0},
      {at::modFundType({MOD_const, MOD_pointer_to}, FT_integer), "*int", 1},
      {at::modFundType({MOD_pointer_to, MOD_volatile, MOD_reference_to, 0xFF}, FT_void), "**void", 2},
      {at::modUserType({}, "later"), "struct later", 1},
      {at::modUserType({MOD_pointer_to, MOD_pointer_to}, "later"), "**struct later", 3},
      {at::userType("later"), "struct later", 1},
      {at::raw(AT_user_def_type, FORM_REF, Bytes().u32(0x1234)), "undefined", 1},
      {at::modFundType(longChain, FT_char), std::string(1024, '*') + "char", 1024, 0},
      {at::raw(AT_ordering, FORM_NONE), "undefined", 0, 0},
      {at::data2(AT_member, 7), "undefined", 0},
  };
  for (const auto& fact : facts) {
    const auto later = Dwarf1Entries().label("later").entry(TAG_structure_type, {at::name("later")});
    const DescModule* module =
        FillEntries(Var("v", fact.attr).append(Var("next", at::fundType(FT_char))).append(later));
    EXPECT_EQ(VarTexts(module->vars), (Texts{"v: " + fact.type, "next: char"}));
    const bool isLaterReferred = fact.type.find("later") != std::string::npos;
    EXPECT_EQ(module->typeCount, fact.records + (isLaterReferred ? 0 : 1)) << fact.type;
    EXPECT_EQ(filled, fact.filled) << reason;
  }
}

TEST_P(Dwarf1Types, ReferencesShareOneRecord) {
  const auto pointer = at::modUserType({MOD_pointer_to}, "node");
  // clang-format off
  const DescModule* module = FillEntries(Dwarf1Entries()
      .append(Var("before", at::userType("node"))).append(Var("pointer", pointer))
      .label("node").parent(TAG_structure_type, {at::name("node"), at::byteSize(8)})
          .entry(TAG_member, {at::name("next"), pointer}).end()
      .append(Var("after", at::userType("node"))));
  // clang-format on
  const DescType* node = module->vars->type;
  EXPECT_EQ(node->byteSize, 8);
  const DescType* type = module->vars->next->type;
  EXPECT_EQ(type->target.type, node);
  EXPECT_EQ(type->key, NO_KEY);
  EXPECT_EQ(type->byteSize, 4);
  EXPECT_EQ(module->vars->next->next->type, node);
  EXPECT_EQ(node->items.members->type->target.type, node);
  EXPECT_EQ(module->typeCount, 3U);

  // A reference to 0xFFFFFFFF finds the newest record that has no key, and makes one only where there is none.
  const Dwarf1Attr noKey = at::raw(AT_user_def_type, FORM_REF, Bytes().u32(NO_KEY));
  const auto b = Var("b", at::modFundType({1}, FT_char));
  const auto c = Var("c", at::modFundType({1}, FT_integer));
  module = FillEntries(Var("a", noKey).append(b).append(c).append(Var("d", noKey)));
  EXPECT_EQ(VarTexts(module->vars), (Texts{"a: undefined", "b: *char", "c: *int", "d: *int"}));
  EXPECT_EQ(module->typeCount, 3U);
}

TEST_P(Dwarf1Types, LocationsAreCopiedAndNamesCut) {
  const RawBytes atoms = Bytes().u8(OP_BASEREG).u32(31).u8(OP_CONST).u32(8).u8(OP_ADD).In(GetParam());
  const auto twice =
      Dwarf1Entries().entry(TAG_global_variable, {at::address(1), at::location(Bytes().raw(atoms)), at::name("twice")});
  const DescModule* module = FillEntries(Dwarf1Entries().append(twice).append(Var("empty", at::location({}))));
  const DescLocation* location = module->vars->location;
  EXPECT_EQ(memcmp(location->expression, atoms.data(), atoms.size()), 0);
  EXPECT_EQ(location->expression[atoms.size()], 0);
  EXPECT_EQ(module->vars->next->location->expression[0], 0);

  for (const size_t length : {1023U, 1024U, 70000U}) {  // consumed whole all the same
    const Dwarf1Attrs attrs = {at::name(std::string(length, 'n')), at::text(AT_ordering, "skipped"),
                               at::fundType(FT_char)};
    module = FillEntries(Dwarf1Entries().entry(TAG_global_variable, attrs).append(Var("next", at::fundType(FT_char))));
    EXPECT_EQ(VarTexts(module->vars),
              (Texts{std::string(std::min<size_t>(length, 1023), 'n') + ": char", "next: char"}));
  }
}

TEST_P(Dwarf1Types, BitFieldsArePending) {
  const auto field = [](const Dwarf1Attr& first, const Dwarf1Attr& second = at::fundType(FT_short)) {
    return Dwarf1Entries().entry(TAG_member, {at::name("m"), at::fundType(FT_short), first, second});
  };
  // clang-format off
  const DescModule* module = FillEntries(Dwarf1Entries().parent(TAG_structure_type, {at::name("s")})
      .append(field(at::data2(AT_bit_offset, 0x102), at::data4(AT_bit_size, 3)))
      .append(field(at::raw(AT_bit_offset, FORM_DATA4, Bytes().u16(1)), at::raw(AT_bit_size, FORM_DATA2, Bytes().u32(0x1FF))))
      .append(field(at::data4(AT_bit_size, 5))).append(field(at::data2(AT_bit_offset, 4))));
  // clang-format on
  const auto text = [](const DescVar& var) {
    return std::to_string(var.bitOffset) + " " + std::to_string(var.bitSize);
  };
  EXPECT_EQ(Listed(module->types->items.members, text), (Texts{"2 3", "1 255", "0 5", "4 0"}));
  EXPECT_EQ(HostListed<DescVar>(module->ext->pendingFields, text), (Texts{"4 0", "1 255", "2 3"}));
}

// A variable of each fundamental type after a typedef, which sets the size of some.
TEST_P(Dwarf1Types, FundamentalTypesAndTheTypedefsThatSetTheirSizes) {
  const auto withVars = [](const Dwarf1Attrs& attrs) {
    Dwarf1Entries entries = Dwarf1Entries().label("self").entry(TAG_typedef, attrs);
    for (uint32_t code = 0; code < FT_COUNT; ++code) entries.append(Var("v", at::fundType(code)));
    return entries;
  };
  const struct {
    const char* name;
    Dwarf1Attr type;
    uint32_t first, last;  // codes that take the size; 0: none
  } facts[] = {
      {"char", at::fundType(FT_char), 1, 3},
      {"short", at::fundType(FT_long), 4, 6},
      {"int", at::fundType(FT_integer), 7, 9},
      {"int", at::data2(AT_ordering, 0), 7, 9},  // the default target is a basic one too
      {"long", at::fundType(FT_long), 10, 12},
      {"long double", at::fundType(FT_float), 16, 16},
      {"int", at::modFundType({MOD_pointer_to}, FT_integer), 0, 0},
      {"int", at::userType("self"), 0, 0},
      {"Int", at::fundType(FT_integer), 0, 0},
  };
  for (const auto& fact : facts) {
    const DescModule* module = FillEntries(withVars({at::name(fact.name), fact.type, at::byteSize(77)}));
    EXPECT_EQ(TypesOf(module)[0]->byteSize, 77);
    EXPECT_EQ(TypesOf(module)[0]->kind, KIND_TYPEDEF);
    uint32_t code = 0;
    for (const DescVar* var = module->vars; var != nullptr; var = var->next, ++code) {
      EXPECT_EQ(var->type->byteSize == 77, code > 0 && code >= fact.first && code <= fact.last) << fact.name << code;
    }
  }
  const DescModule* module = FillEntries(withVars({at::name("int"), at::byteSize(0)}));
  std::string types;
  for (const DescVar* var = module->vars; var != nullptr; var = var->next) {
    types +=
        "|" + (var->type->name + std::to_string(var->type->byteSize)) + ":" + std::to_string(var->type->items.encoding);
  }
  EXPECT_EQ(
      types,
      "|???0:0|char1:3|signed char1:3|unsigned char1:2|short2:5|signed short2:5|unsigned short2:4|int4:5"
      "|signed int4:5|unsigned int4:4|long4:5|signed long4:5|unsigned long4:4|void *4:8|float4:6|double8:6"
      "|long double16:6|complex8:7|double complex16:7|???0:0|void0:0|boolean2:1|long double complex32:7|label0:0");
}

}  // namespace
