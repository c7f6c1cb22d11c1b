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
    const DescModule* module = FillEntries(Dwarf1Entries(array).entry(TAG_global_variable, {at::name("behind")}));
    EXPECT_EQ(TypeTexts(module), Texts{fact.type});
    EXPECT_EQ(module->types->byteSize, 40) << "the attribute behind the block is read";
    EXPECT_STREQ(module->types->name, "array");
    EXPECT_EQ(module->types->target.word, 0U);
    EXPECT_EQ(Names(module->vars), Texts{"behind"});
    EXPECT_EQ(filled, fact.filled) << failure;
  }
}

TEST_P(Dwarf1Aggregates, ArraySizes) {
  const auto stride = [](uint32_t bits) { return at::data4(AT_stride_size, bits); };
  const Dwarf1Attr shorts = Subscripts({{0, 4}, {1, 2}}, at::fundType(FT_short));
  const struct {
    Dwarf1Attrs attrs;
    int32_t asRead, settled, sizeOfVariable;  // bytes
  } facts[] = {
      {{shorts}, 0, 20, 20},
      {{at::byteSize(20)}, 20, 20, 20},
      {{at::data2(AT_byte_size, 20), at::byteSize(30)}, 20, 20, 20},
      {{at::raw(AT_byte_size, FORM_ADDR, Bytes().u32(20).u32(0))}, 20, 20, 20},
      {{stride(16), at::byteSize(20), shorts}, -2, -2, 20},
      {{at::byteSize(20), shorts, stride(32)}, -4, -4, 40},
      {{stride(7), at::byteSize(20)}, 20, 20, 20},
      {{stride(0xFFFFFFF1)}, 1, 1, 1},  // -15 bits: cut toward 0
      {{at::fundType(FT_long)}, 0, 0, 0},
      {{Subscripts({{0, 2}}, at::userType("inner"))}, 0, 12, 12},
  };
  for (const auto& fact : facts) {
    // clang-format off
    const auto entries = Dwarf1Entries()
        .label("array").entry(TAG_array_type, fact.attrs)
        .label("inner").entry(TAG_array_type, {Subscripts({{1, 2}}, at::fundType(FT_short))})
        .entry(TAG_global_variable, {at::userType("array")});
    // clang-format on
    EXPECT_EQ(TypesOf(FillEntries(entries))[0]->byteSize, fact.asRead);
    const DescModule* module = LoadAndExtend(Dwarf1File(GetParam(), Dwarf1Unit({}).append(entries)));
    EXPECT_EQ(TypesOf(module)[0]->byteSize, fact.settled);
    EXPECT_EQ(module->vars->byteSize, fact.sizeOfVariable);
    EXPECT_EQ(module->ext->pendingArrays, nullptr);
  }
}

TEST_P(Dwarf1Aggregates, EnumeratorsStandNewestFirst) {
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
    EXPECT_EQ(type->element.word, 0U);
    EXPECT_EQ(filled, 1) << failure;
  }
}

TEST_P(Dwarf1Aggregates, MembersAndMemberFunctions) {
  const struct {
    uint32_t tag, kind;
    std::string word;
  } facts[] = {{TAG_structure_type, KIND_STRUCT, "struct"},
               {TAG_union_type, KIND_UNION, "union"},
               {TAG_class_type, KIND_CLASS, "class"}};
  for (const auto& fact : facts) {
    // clang-format off
    const DescModule* module = FillEntries(Dwarf1Entries()
        .parent(fact.tag, {at::name(""), at::fundType(FT_char), at::byteSize(12)})
            .entry(TAG_member, {at::name("a"), at::fundType(FT_char), at::address(0)})
            .parent(TAG_global_subroutine, {at::name("f"), at::fundType(FT_integer)})
                .entry(TAG_formal_parameter, {at::name("this"), at::modUserType({MOD_pointer_to}, "inner")})
                .entry(TAG_local_variable, {at::name("i"), at::fundType(FT_integer)}).end()
            .label("inner").parent(fact.tag, {at::name("inner")})
                .entry(TAG_member, {at::name("x"), at::fundType(FT_char)}).end()
            .parent(TAG_subroutine, {at::name("skipped")}).end()
            .entry(TAG_member, {at::name("b"), at::userType("inner")}).end()
        .entry(fact.tag, {at::name("childless")}));
    // clang-format on
    const auto types = TypesOf(module);
    ASSERT_EQ(types.size(), 4U);
    const DescType* type = types[0];
    EXPECT_EQ(type->name, fact.word);
    EXPECT_EQ(type->kind, fact.kind);
    EXPECT_EQ(type->byteSize, 12);
    EXPECT_EQ(VarTexts(type->items.members), (Texts{"a: char", "b: " + fact.word + " inner"}));
    EXPECT_EQ(ProcTexts(type->target.memberFunctions), (Texts{"f: int 0..0"}));
    EXPECT_EQ(VarTexts(type->target.memberFunctions->params), (Texts{"this: *" + fact.word + " inner"}));
    EXPECT_EQ(VarTexts(type->target.memberFunctions->locals), (Texts{"i: int"}));
    EXPECT_EQ(types[3]->target.word, 0U);
    EXPECT_EQ(types[3]->items.word, 0U);
    EXPECT_EQ(types[3]->byteSize, 0);
  }
}

TEST_P(Dwarf1Aggregates, SubroutineTypes) {
  // clang-format off
  const auto types = TypesOf(FillEntries(Dwarf1Entries()
      .parent(TAG_subroutine_type, {at::name(""), at::text(AT_prototyped, "yes"), at::fundType(FT_long)})
          .entry(TAG_formal_parameter, {at::fundType(FT_char)})
          .entry(TAG_structure_type, {at::name("not read")})
          .parent(TAG_string_type).entry(TAG_structure_type, {at::name("read")}).end()
          .entry(TAG_unspecified_parameters).end()
      .parent(TAG_subroutine_type, {at::name("handler")}).end()));
  // clang-format on
  ASSERT_EQ(types.size(), 3U);
  EXPECT_STREQ(types[0]->name, "function");
  EXPECT_EQ(types[0]->kind, KIND_FUNCTION);
  EXPECT_EQ(TypeText(types[0]->target.type), "long");
  EXPECT_EQ(types[0]->element.word, 1U);
  EXPECT_EQ(VarTexts(types[0]->items.params), (Texts{": char", "...: undefined"}));
  EXPECT_EQ(TypeText(types[1]), "struct read");
  EXPECT_EQ(TypeText(types[2]->target.type), "void");
  EXPECT_EQ(types[2]->element.word, 0U);
}

}  // namespace
