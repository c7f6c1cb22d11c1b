// Type entries as records: names, sizes and the three words of each kind, references that run ahead, and bad values.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/describe.h"
#include "support/dwarf2_builder.h"

namespace {

class Types : public HostTest {
 protected:
  // The entry under the label "it" in a unit that also holds the types "int" and "node", in front and behind.
  DescType* It(ByteOrder order, const std::function<void(Unit&)>& entry, uint8_t addressSize = 4) {
    Unit unit = Unit({.addressSize = addressSize}).parent(DW_TAG_compile_unit);
    unit.label("int").child(DW_TAG_base_type, {Name("int"), Size(4), {DW_AT_encoding, DW_FORM_data1, 5}});
    entry(unit.label("it"));
    unit.label("node").parent(DW_TAG_structure_type, {Name("node"), Size(8)}).end();
    unit.child(DW_TAG_variable, {Name("last"), Type("it")}).end();
    DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
    module_ = module;
    return Find(module->vars, "last")->type;
  }
  DescModule* module_ = nullptr;
};

Attr Encoding(int value) { return {DW_AT_encoding, DW_FORM_data1, value}; }
Attr Stride(int bits) { return {DW_AT_stride_size, DW_FORM_sdata, bits}; }
Attr Upper(int value) { return {DW_AT_upper_bound, DW_FORM_sdata, value}; }
Attr Lower(int value) { return {DW_AT_lower_bound, DW_FORM_sdata, value}; }
Attr ConstValue(uint32_t form, int64_t value) { return {DW_AT_const_value, form, value}; }

TEST_F(Types, OfEveryKind) {
  const struct {
    std::function<void(Unit&)> entry;
    const char* expected;
  } facts[] = {
      // clang-format off
      // Basic types; the name of a nameless one is made up from encoding and size.
      {[](Unit& u) { u.child(DW_TAG_base_type, {Name("char"), Size(1), Encoding(6)}); }, "0 char 1 encoding 3 of -"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Name("undefined"), Size(1), Encoding(2)}); },
       "0 undefined 1 encoding 1 of -"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Encoding(5)}); }, "0 signed 0 encoding 5 of -"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Encoding(0x10), Size(4)}); }, "0 unknown(4) 4 encoding 0 of -"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Name("")}); }, "0 unknown 0 encoding 0 of -"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Encoding(7), {DW_AT_byte_size, DW_FORM_sdata, -2}}); },
       "0 unsigned(-2) -2 encoding 4 of -"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Name("x"), Type("node")}); }, "0 x 0 encoding 0 of node"},
      {[](Unit& u) { u.child(DW_TAG_base_type, {Name("a"), Name("b"), Name("")}); }, "0 b 0 encoding 0 of -"},
      // Derived types; without a type there is none.
      {[](Unit& u) { u.child(DW_TAG_typedef, {Name("alias"), Type("int")}); }, "1 alias 0 -> int flags 0"},
      {[](Unit& u) { u.child(DW_TAG_typedef, {Name("")}); }, "1 typedef 0 -> - flags 0"},
      {[](Unit& u) { u.child(DW_TAG_typedef, {{DW_AT_name, DW_FORM_data4, 1}}); }, "1 typedef 0 -> - flags 0"},
      {[](Unit& u) { u.child(DW_TAG_pointer_type, {Size(2), Type("node")}); }, "2 pointer 2 -> node flags 0"},
      {[](Unit& u) { u.child(DW_TAG_pointer_type, {{DW_AT_address_class, DW_FORM_data1, 1}}); },
       "2 pointer 0 -> - flags 8"},
      {[](Unit& u) { u.child(DW_TAG_pointer_type, {{DW_AT_address_class, DW_FORM_data1, 2}}); },
       "2 pointer 0 -> - flags 0"},
      {[](Unit& u) { u.child(DW_TAG_reference_type, {Type("it")}); }, "9 reference 0 -> reference flags 0"},
      {[](Unit& u) { u.child(DW_TAG_const_type, {Type("int"), {DW_AT_sibling, DW_FORM_ref4, 3}}); },
       "10 const 0 -> int flags 0"},
      {[](Unit& u) { u.child(DW_TAG_volatile_type, {Type("int"), Encoding(5)}); }, "11 volatile 0 -> int flags 0"},
      // Arrays.
      {[](Unit& u) { u.parent(DW_TAG_array_type, {Type("int")}).child(DW_TAG_subrange_type, {Upper(9)}).end(); },
       "7 array 0 [0..9] 0 of int"},
      {[](Unit& u) { u.parent(DW_TAG_array_type, {Type("int"), Name("grid")})
                          .child(DW_TAG_subrange_type, {Lower(-1), Upper(1), Type("int")})
                          .parent(DW_TAG_subprogram).child(DW_TAG_subrange_type, {Upper(5)}).end()
                          .child(DW_TAG_subrange_type, {{DW_AT_count, DW_FORM_data1, 5}})
                          .child(DW_TAG_subrange_type, {Upper(2)}).end(); },
       "7 grid 0 [-1..1 0..0 0..2] 2 of int"},
      {[](Unit& u) { u.child(DW_TAG_array_type); }, "7 array 0 [] 0 of undefined"},
      {[](Unit& u) { u.child(DW_TAG_array_type, {Size(6), Size(7)}); }, "7 array 6 [] 0 of undefined"},
      {[](Unit& u) { u.child(DW_TAG_array_type, {Stride(16), Size(6)}); }, "7 array -2 [] 0 of undefined"},
      {[](Unit& u) { u.child(DW_TAG_array_type, {Size(6), Stride(12)}); }, "7 array -1 [] 0 of undefined"},
      {[](Unit& u) { u.child(DW_TAG_array_type, {Stride(4)}); }, "7 array 0 [] 0 of undefined"},
      {[](Unit& u) { u.child(DW_TAG_array_type, {Stride(-20)}); }, "7 array 2 [] 0 of undefined"},
      // Function types.
      {[](Unit& u) { u.child(DW_TAG_subroutine_type); }, "8 function 0 () -> void 0"},
      {[](Unit& u) { u.parent(DW_TAG_subroutine_type, {{DW_AT_prototyped, DW_FORM_flag, 7}, Type("int"), Name("f")})
                          .child(DW_TAG_formal_parameter, {Name("a"), Type("int")})
                          .parent(DW_TAG_unspecified_parameters).child(DW_TAG_formal_parameter).end()
                          .child(DW_TAG_formal_parameter, {Type("node")}).end(); },
       "8 f 0 (a:int :node) -> int 1"},
      {[](Unit& u) { u.child(DW_TAG_subroutine_type, {{DW_AT_prototyped, DW_FORM_data1, 1}}); },
       "8 function 0 () -> void 0"},
      // Aggregates.
      {[](Unit& u) { u.parent(DW_TAG_structure_type, {Size(8)})
                          .child(DW_TAG_member, {Name("value"), Type("int")})
                          .child(DW_TAG_variable, {Name("static"), Type("int")})
                          .parent(DW_TAG_union_type, {Name("nested")}).child(DW_TAG_member, {Name("n")}).end()
                          .child(DW_TAG_member, {Name("next"), Type("it")}).end(); },
       "4 struct 8 {value:int next:struct} {}"},
      {[](Unit& u) { u.child(DW_TAG_structure_type, {Name("only"), {DW_AT_declaration, DW_FORM_flag, 1}}); },
       "4 only 0 {} {}"},
      {[](Unit& u) { u.parent(DW_TAG_union_type, {Name("")}).end(); }, "5 union 0 {} {}"},
      {[](Unit& u) { u.parent(DW_TAG_class_type, {Name("queue"), Size(4)})
                          .child(DW_TAG_inheritance, {Type("node")})
                          .parent(DW_TAG_subprogram, {Name("push"), Low(2), High(4)})
                              .child(DW_TAG_formal_parameter, {Name("this"), Type("it")}).end()
                          .child(DW_TAG_member, {Name("head"), Type("node")})
                          .child(DW_TAG_subprogram, {Name("pop")}).end(); },
       "6 queue 4 {baseclass:node head:node} {push 2-4 pop 0-0}"},
      // Enumerations take the name of a basic type, and no type of their own.
      {[](Unit& u) { u.parent(DW_TAG_enumeration_type, {Name("color"), Size(2), Type("int")})
                          .child(DW_TAG_enumerator, {Name("red"), ConstValue(DW_FORM_data1, 0xFF)})
                          .child(DW_TAG_base_type, {Name("lost")})
                          .child(DW_TAG_enumerator, {Name(""), ConstValue(DW_FORM_sdata, -3)})
                          .child(DW_TAG_enumerator, {ConstValue(DW_FORM_data2, 0x8000)})
                          .child(DW_TAG_enumerator, {Name("blue"), ConstValue(DW_FORM_udata, 0xFFFFFFFF)}).end(); },
       "3 color 2 {red=255 enum=-3 =32768 blue=-1} 0"},
      {[](Unit& u) { u.parent(DW_TAG_enumeration_type, {Size(1)}).end(); }, "3 unknown(1) 1 {} 0"},
      {[](Unit& u) { u.child(DW_TAG_enumeration_type, {Size(1), Encoding(8)}); }, "3 uchar(1) 1 {} 0"},
      // Entries that give no type leave the reference undefined.
      {[](Unit& u) { u.child(DW_TAG_string_type, {Name("text"), Size(8)}); }, "0 undefined 0 encoding 0 of -"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      for (const uint8_t size : addressSizes) {
        const DescType* it = It(order, fact.entry, size);
        EXPECT_EQ(Describe(*it), fact.expected);
        EXPECT_EQ(extended, 1) << fact.expected;
        const Texts names = Names(module_->types);
        EXPECT_EQ(std::count(names.begin(), names.end(), it->name), 1) << "it stands on the module's types";
      }
    }
  }
}

TEST_F(Types, EncodingsNameBasicTypes) {
  const char* const names[] = {"unknown", "addr",  "bool",     "complex", "float",
                               "signed",  "schar", "unsigned", "uchar",   "unknown"};
  const uint32_t codes[] = {0, 8, 1, 7, 6, 5, 3, 4, 2, 0};
  for (int value = 0; value < 10; ++value) {
    const auto type = [&](Attrs attrs) {
      return It(ByteOrder::big, [&](Unit& u) { u.child(DW_TAG_base_type, attrs); });
    };
    EXPECT_STREQ(type({Encoding(value)})->name, names[value]);
    EXPECT_EQ(type({Encoding(value)})->items.encoding, codes[value]);
    EXPECT_EQ(type({Encoding(value), Size(12)})->name, names[value] + std::string("(12)"));
  }
}

// A refused value fails the fill; the record stands as far as it came.
TEST_F(Types, RefusedValues) {
  const Bytes block = Bytes().u8(1);
  const struct {
    std::function<void(Unit&)> entry;
    const char* expected;
  } facts[] = {
      // clang-format off
      {[&](Unit& u) { u.child(DW_TAG_base_type, {Size(3), {DW_AT_byte_size, DW_FORM_block1, block}, Name("x")}); },
       "0 unknown 0 encoding 0 of -"},  // a name read behind a failure is empty
      {[&](Unit& u) { u.child(DW_TAG_base_type, {Name("x"), Encoding(5), {DW_AT_encoding, DW_FORM_flag, 7}}); },
       "0 x 0 encoding 5 of -"},
      {[&](Unit& u) { u.child(DW_TAG_typedef, {Name("x"), {DW_AT_type, DW_FORM_data4, 0x10}}); },
       "1 x 0 -> undefined flags 0"},
      {[&](Unit& u) { u.child(DW_TAG_array_type, {{DW_AT_stride_size, DW_FORM_string, "8"}}); },
       "7 array 0 [] 0 of undefined"},
      {[&](Unit& u) { u.parent(DW_TAG_array_type).child(DW_TAG_subrange_type, {{DW_AT_upper_bound, DW_FORM_block1,
       block}}).end(); },
       "7 array 0 [0..0] 0 of undefined"},
      {[&](Unit& u) { u.child(DW_TAG_pointer_type, {{DW_AT_address_class, DW_FORM_addr, 1}}); },
       "2 pointer 0 -> - flags 0"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    Unit unit = Unit().parent(DW_TAG_compile_unit).child(DW_TAG_variable, {Name("v"), Type("it")}).label("it");
    fact.entry(unit);
    const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::little, unit.end()));
    EXPECT_EQ(extended, 0) << fact.expected;
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    EXPECT_EQ(Describe(*Find(module->vars, "v")->type), fact.expected);
  }
}

// References before and behind a definition meet in one record.
TEST_F(Types, OneRecordPerEntry) {
  const Unit other = Unit().parent(DW_TAG_compile_unit).label("far").child(DW_TAG_base_type, {Name("far")}).end();
  // clang-format off
  const Unit unit = Unit().parent(DW_TAG_compile_unit)
      .child(DW_TAG_variable, {Name("before"), Type("s")})
      .child(DW_TAG_variable, {Name("across"), {DW_AT_type, DW_FORM_ref_addr, "far"}})
      .label("s").parent(DW_TAG_structure_type, {Name("s"), Size(4)}).end()
      .child(DW_TAG_variable, {Name("behind"), {DW_AT_type, DW_FORM_ref_udata, Bytes().uleb(0)}})
      .child(DW_TAG_variable, {Name("again"), {DW_AT_type, DW_FORM_ref2, "s"}}).end();
  // clang-format on
  for (const ByteOrder order : bothOrders) {
    const DescModule* module =
        LoadAndExtend(Dwarf2File(order, other, unit).section(".debug_line", LineProgram()))->next;
    ASSERT_EQ(extended, 2);
    const DescType* s = Find(module->types, "s");
    EXPECT_EQ(Find(module->vars, "before")->type, s);
    EXPECT_EQ(Find(module->vars, "again")->type, s);
    EXPECT_EQ(Find(module->vars, "before")->byteSize, 4);
    EXPECT_EQ(Describe(*Find(module->vars, "across")->type), "0 undefined 0 encoding 0 of -");
    EXPECT_EQ(Names(module->types), (Texts{"undefined", "undefined", "s"})) << "newest first";
    EXPECT_EQ(module->typeCount, 3u);
    EXPECT_EQ(s->key, module->ext->unitOffset + unit.labels().at("s"));
  }
}

// An index beside the list must not change what the walk of the list would find, and keeps large units linear.
TEST_F(Types, ManyTypesStayApart) {
  constexpr int COUNT = 30000;
  Unit unit = Unit().parent(DW_TAG_compile_unit);
  for (int i = 0; i < COUNT; ++i) {
    unit.child(DW_TAG_variable, {Type(std::to_string(i % 2 == 0 ? i : COUNT - i))});
    unit.label(std::to_string(i)).child(DW_TAG_base_type, {{DW_AT_byte_size, DW_FORM_data4, i}});
  }
  const DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit.end()));
  EXPECT_EQ(module->typeCount, uint32_t{COUNT});
  int i = 0;
  for (const DescVar* var = module->vars; var != nullptr; var = var->next, ++i) {
    ASSERT_EQ(var->byteSize, i % 2 == 0 ? i : COUNT - i);
  }
  EXPECT_EQ(i, COUNT);
}

}  // namespace
