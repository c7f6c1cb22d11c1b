// Arrays with every subscript format, enumerations, structures, unions, classes, subroutine types.
#include "dwarf1/dwarf1_test.h"

namespace {

DWARF1_TESTS(Dwarf1Aggregates);

TEST_P(Dwarf1Aggregates, SubscriptFormats) {
  const Bytes element = Bytes().u16(AT_fund_type | +FORM_DATA2).u16(FT_char);
  const auto item = [](uint8_t format) { return Bytes().u8(format); };
  const Bytes x = Bytes().u16(3).pad(3, 8);  // an expression
  const Bytes constant = Bytes().u8(FMT_FT_C_C).u16(FT_integer).u32(0).u32(1);
  const auto ended = [&](const Bytes& items) {
    return Bytes().append(items).append(constant).u8(FMT_ET).append(element);
  };
  const struct {
    const char* what;
    Bytes items;
    std::string type;
    int filled = 1;
  } facts[] = {
      {"FT_C_C", ended(item(0).u16(FT_integer).u32(0xFFFFFFFE).u32(5)), "[-2..5][0..1]char"},
      {"FT_C_X", ended(item(1).u16(FT_integer).u32(7).append(x)), "[0..1]char"},
      {"FT_X_C", ended(item(2).u16(FT_integer).append(x).u32(7)), "[0..1]char"},
      {"FT_X_X", ended(item(3).u16(FT_integer).append(x).append(x)), "[0..1]char"},
      {"UT_C_C", ended(item(4).u32(0x44).u32(0).u32(9)), "[0..1]char"},
      {"UT_C_X", ended(item(5).u32(0x44).u32(7).append(x)), "[0..1]char"},
      {"UT_X_C", ended(item(6).u32(0x44).append(x).u32(7)), "[0..1]char"},
      {"UT_X_X", ended(item(7).u32(0x44).append(x).append(x)), "[0..1]char"},
      {"unknown formats", ended(item(9).u8(0xFF).u8(0x80)), "[0..1]char"},
      {"element type alone", Bytes().u8(FMT_ET).append(element), "char"},
      {"end alone", Bytes().u8(FMT_ET), "undefined"},
      {"other attribute", Bytes().u8(FMT_ET).u16(AT_ordering | +FORM_DATA2).u16(0), "undefined"},
      {"no end", constant, "[0..1]undefined", 0},
      {"empty block", {}, "undefined", 0},
      {"item cut short", Bytes().append(constant).u8(FMT_FT_C_C).u16(FT_integer).u32(0), "[0..1]undefined", 0},
      {"index type cut short", item(4).u16(0), "undefined", 0},
      {"expression cut short", item(3).u16(FT_integer).u16(100).u8(0), "undefined", 0},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    const Dwarf1Attrs attrs = {at::subscripts(fact.items), at::name("skipped"), at::byteSize(40)};
    const auto array = Dwarf1Entries().entry(TAG_array_type, attrs);
    const DescModule* module = FillEntries(Dwarf1Entries(array).entry(TAG_global_variable, {at::name("after")}));
    EXPECT_EQ(TypeTexts(module), Texts{fact.type});
    EXPECT_EQ(module->types->byteSize, 40) << "the attribute after the block is read";
    EXPECT_STREQ(module->types->name, "array");
    EXPECT_EQ(Names(module->vars), Texts{"after"});
    EXPECT_EQ(filled, fact.filled) << reason;
  }
}

TEST_P(Dwarf1Aggregates, ArraySizes) {
  const auto stride = [](uint32_t bits) { return at::data4(AT_stride_size, bits); };
  const Dwarf1Attr shorts = Subscripts({{0, 4}, {1, 2}}, at::fundType(FT_short));
  const std::pair<Dwarf1Attrs, int32_t> facts[] = {
      {{shorts}, 0},
      {{at::raw(AT_byte_size, FORM_ADDR, Bytes().u32(20).u32(0))}, 20},
      {{stride(16), at::byteSize(20), shorts}, -2},  // bytes of an element
      {{at::byteSize(20), shorts, stride(32)}, -4},
      {{stride(7), at::byteSize(20)}, 20},
      {{stride(0xFFFFFFF1)}, 1},  // -15 bits: cut toward 0
  };
  for (const auto& [attrs, byteSize] : facts) {
    const DescModule* module = FillEntries(Dwarf1Entries().entry(TAG_array_type, attrs));
    EXPECT_EQ(module->types->byteSize, byteSize);
    EXPECT_EQ(L_First(module->ext->pendingArrays), module->types);
  }
}

TEST_P(Dwarf1Aggregates, EnumeratorsNewestFirst) {
  const std::pair<Dwarf1Attr, Texts> facts[] = {
      {at::elements({{0, "A"}, {-1, "B"}, {7, ""}}), {"=7", "B=-1", "A=0"}},
      {at::elements({}), {}},
      {at::raw(AT_element_list, FORM_BLOCK4, Bytes().u32(0x80000000)), {}},
  };
  for (const auto& [elements, items] : facts) {
    const Dwarf1Attrs attrs = {at::name(""), at::data2(AT_byte_size, 2), at::fundType(FT_char), elements};
    const DescType* type = FillEntries(Dwarf1Entries().entry(TAG_enumeration_type, attrs))->types;
    EXPECT_STREQ(type->name, "enum");
    EXPECT_EQ(type->byteSize, 2);
    EXPECT_EQ(type->target.count, items.size());
    const auto text = [](const DescEnumerator& item) { return item.name + ("=" + std::to_string(item.value)); };
    EXPECT_EQ(Listed(type->items.enumerators, text), items);
    EXPECT_EQ(filled, 1) << reason;
  }
}

TEST_P(Dwarf1Aggregates, MembersAndMemberFunctions) {
  const std::pair<uint32_t, std::string> facts[] = {
      {TAG_structure_type, "struct"}, {TAG_union_type, "union"}, {TAG_class_type, "class"}};
  for (const auto& [tag, word] : facts) {
    // clang-format off
    const auto types = TypesOf(FillEntries(Dwarf1Entries()
        .parent(tag, {at::name(""), at::fundType(FT_char), at::byteSize(12)})
            .entry(TAG_member, {at::name("a"), at::fundType(FT_char), at::address(0)})
            .parent(TAG_global_subroutine, {at::name("f"), at::fundType(FT_integer)})
                .entry(TAG_formal_parameter, {at::name("this"), at::modUserType({MOD_pointer_to}, "inner")})
                .entry(TAG_local_variable, {at::name("i"), at::fundType(FT_integer)}).end()
            .label("inner").parent(tag, {at::name("inner")})
                .entry(TAG_member, {at::name("x"), at::fundType(FT_char)}).end()
            .entry(TAG_member, {at::name("b"), at::userType("inner")}).end()));
    // clang-format on
    const DescType* type = types[0];
    EXPECT_EQ(TypeText(type), std::string(word).append(" ").append(word));
    EXPECT_EQ(type->byteSize, 12);
    EXPECT_EQ(VarTexts(type->items.members), (Texts{"a: char", std::string("b: ").append(word).append(" inner")}));
    EXPECT_EQ(ProcTexts(type->target.memberFunctions), (Texts{"f: int 0..0"}));
    EXPECT_EQ(VarTexts(type->target.memberFunctions->params), (Texts{"this: *" + word + " inner"}));
    EXPECT_EQ(VarTexts(type->target.memberFunctions->locals), (Texts{"i: int"}));
  }
}

TEST_P(Dwarf1Aggregates, SubroutineTypes) {
  // clang-format off
  const auto types = TypesOf(FillEntries(Dwarf1Entries()
      .parent(TAG_subroutine_type, {at::name(""), at::text(AT_prototyped, "yes"), at::fundType(FT_long)})
          .entry(TAG_formal_parameter, {at::fundType(FT_char)}).entry(TAG_unspecified_parameters).end()
      .parent(TAG_subroutine_type, {at::name("handler")}).end()));
  // clang-format on
  EXPECT_EQ(TypeText(types[0]) + " of " + TypeText(types[0]->target.type), "function function of long");
  EXPECT_EQ(VarTexts(types[0]->items.params), (Texts{": char", "...: undefined"}));
  EXPECT_EQ(TypeText(types[1]) + " of " + TypeText(types[1]->target.type), "function handler of void");
  EXPECT_EQ(types[0]->element.word, 1U);
  EXPECT_EQ(types[1]->element.word, 0U);
}

}  // namespace
