// Types, bit fields and constants as published, in units of DWARF 2 to 5.
#include <gtest/gtest.h>

#include "dwarf2/entries/bit_fields.h"
#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"

namespace {

constexpr uint32_t LANG_C = 2;
constexpr uint32_t LANG_FORTRAN = 0x0E;

// The bytes of an expression of a few operations, as far as the first `count`.
std::string Expression(const DescVar* variable, size_t count) {
  if (variable->location == nullptr) return "-";
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += (i == 0 ? "" : " ") + Hex(variable->location->expression[i]);
  }
  return text;
}

class PublishedTypes : public HostTest {
 protected:
  Unit Begin(int version, uint32_t language) {
    Unit unit = Unit({.version = static_cast<uint16_t>(version)});
    unit.parent(DW_TAG_compile_unit, {Name("a.c"), {DW_AT_language, DW_FORM_data1, language}});
    unit.label("int").child(DW_TAG_base_type, {Name("int"), Size(4), {DW_AT_encoding, DW_FORM_data1, 5}});
    return unit;
  }
  DescModule* Read(ByteOrder order, Unit& unit) {
    const EnvironmentValue published("DWARFRULES", "PUBLISHED");
    DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
    EXPECT_EQ(extended, 1);
    return module;
  }
};

Attr Upper(int value) { return {DW_AT_upper_bound, DW_FORM_data1, value}; }
Attr Lower(int value) { return {DW_AT_lower_bound, DW_FORM_sdata, value}; }
Attr Encoding(uint32_t value) { return {DW_AT_encoding, DW_FORM_data1, value}; }
Attr Value(uint32_t form, int64_t value) { return {DW_AT_const_value, form, value}; }

// The entry under the label "it", and what comes of it.
TEST_F(PublishedTypes, OfEveryKind) {
  const Bytes expression = Bytes().u8(0x30);
  const struct {
    uint32_t language;
    std::function<void(Unit&)> entry;
    const char* expected;
  } facts[] = {
      // clang-format off
      // Bounds: counts, lower bounds by language, bounds that are no constants, and their signs.
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_array_type, {Type("int")})
           .child(DW_TAG_subrange_type, {{DW_AT_count, DW_FORM_data1, 3}})
           .child(DW_TAG_subrange_type, {Lower(-2), {DW_AT_count, DW_FORM_udata, 0}})
           .child(DW_TAG_subrange_type, {{DW_AT_upper_bound, DW_FORM_data4, -1}})
           .child(DW_TAG_subrange_type, {{DW_AT_upper_bound, DW_FORM_data8, -1}})
           .child(DW_TAG_subrange_type, {{DW_AT_upper_bound, DW_FORM_implicit_const, 7}})
           .child(DW_TAG_subrange_type, {Upper(0xFF)})
           .child(DW_TAG_subrange_type).end(); },
       "7 array 0 [0..2 -2..-3 0..-1 0..-1 0..7 0..255 0..-1] 6 of int"},
      {LANG_FORTRAN, [&](Unit& u) { u.parent(DW_TAG_array_type, {Type("int")})
           .child(DW_TAG_subrange_type, {Upper(5)})
           .child(DW_TAG_subrange_type, {{DW_AT_count, DW_FORM_data2, 4}})
           .child(DW_TAG_subrange_type, {{DW_AT_upper_bound, DW_FORM_block1, expression}})
           .child(DW_TAG_subrange_type, {{DW_AT_lower_bound, DW_FORM_exprloc, expression}, Upper(9)})
           .child(DW_TAG_subrange_type, {{DW_AT_count, DW_FORM_ref4, "int"}})
           .child(DW_TAG_generic_subrange, {Lower(0)}).end(); },
       "7 array 0 [1..5 1..4 1..0 1..0 1..0 0..-1] 5 of int"},
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_array_type, {Type("int"), Name("by_color")})
           .parent(DW_TAG_enumeration_type, {Name("color"), Size(1)})
               .child(DW_TAG_enumerator, {Name("red")}).child(DW_TAG_enumerator, {Name("blue")}).end()
           .parent(DW_TAG_subrange_type, {Upper(1)}).child(DW_TAG_base_type, {Name("nested")}).end()
           .child(DW_TAG_subrange_type, {Upper(2)}).end(); },
       "7 by_color 0 [0..1 0..1 0..2] 2 of int"},
      // Strides.
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_array_type, {Type("int")})
           .child(DW_TAG_subrange_type, {Upper(4), {DW_AT_byte_stride, DW_FORM_data1, 12}}).end(); },
       "7 array -12 [0..4] 0 of int"},
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_array_type, {Type("int"), {DW_AT_stride_size, DW_FORM_data1, 3}})
           .child(DW_TAG_subrange_type, {Upper(4)}).child(DW_TAG_subrange_type, {Upper(1)}).end(); },
       "7 array 4 [0..4 0..1] 1 of int"},
      // Strings.
      {LANG_FORTRAN, [](Unit& u) { u.child(DW_TAG_string_type, {Size(8)}); }, "7 array 8 [1..8] 0 of character"},
      {LANG_C, [&](Unit& u) { u.child(DW_TAG_string_type, {Size(4), {DW_AT_string_length, DW_FORM_exprloc, expression}}); },
       "7 array 0 [1..0] 0 of character"},
      // Types that refer to one, with the sizes that they have by nature.
      {LANG_C, [](Unit& u) { u.child(DW_TAG_pointer_type, {Type("int")}); }, "2 pointer 4 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_rvalue_reference_type, {Type("int")}); }, "9 reference 4 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_ptr_to_member_type, {Type("int")}); }, "2 pointer 4 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_ptr_to_member_type, {Type("f")}).label("f").child(DW_TAG_subroutine_type); },
       "2 pointer 8 -> function flags 0"},
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_template_alias, {Name("alias"), Type("int")})
           .child(DW_TAG_base_type, {Name("nested")}).end(); }, "1 alias 0 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_restrict_type, {Type("int")}); }, "1 restrict 0 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_atomic_type, {Type("int")}); }, "1 atomic 0 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_immutable_type, {Type("int")}); }, "1 immutable 0 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_subrange_type, {Type("int"), Upper(9)}); }, "1 subrange 4 -> int flags 0"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_interface_type, {Name("face"), Size(4)}); }, "6 face 4 {} {}"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_unspecified_type, {Name("decltype(nullptr)")}); },
       "0 decltype(nullptr) 0 encoding 0 of -"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_set_type, {Size(2), Type("int")}); }, "0 set 2 encoding 0 of int"},
      // Encodings.
      {LANG_C, [](Unit& u) { u.child(DW_TAG_base_type, {Name("char32_t"), Size(4), Encoding(0x10)}); },
       "0 char32_t 4 encoding 2 of -"},
      {LANG_C, [](Unit& u) { u.child(DW_TAG_base_type, {Size(8), Encoding(0x0F)}); }, "0 float(8) 8 encoding 6 of -"},
      // Enumerators: the sign of short forms is the enumeration's, whose type may follow.
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_enumeration_type, {Name("e"), Type("later")})
           .child(DW_TAG_enumerator, {Name("a"), Value(DW_FORM_data1, 0xFF)})
           .child(DW_TAG_enumerator, {Name("b"), Value(DW_FORM_data2, 0x8000)})
           .child(DW_TAG_enumerator, {Name("c"), Value(DW_FORM_udata, 0xFF)})
           .child(DW_TAG_enumerator, {Name("d"), Value(DW_FORM_implicit_const, -7)}).end()
           .label("later").child(DW_TAG_base_type, {Name("short"), Size(2), Encoding(5)}); },
       "3 e 2 {a=-1 b=-32768 c=255 d=-7} 0"},
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_enumeration_type, {Name("e"), Size(1), Encoding(7), Type("int")})
           .child(DW_TAG_enumerator, {Name("a"), Value(DW_FORM_data1, 0xFF)}).end(); }, "3 e 1 {a=255} 0"},
      // Members: those of variants too, those of the class itself not.
      {LANG_C, [](Unit& u) { u.parent(DW_TAG_structure_type, {Name("s"), Size(8)})
           .child(DW_TAG_member, {Name("k"), Type("int"), {DW_AT_external, DW_FORM_flag, 1}, {DW_AT_declaration, DW_FORM_flag, 1}})
           .child(DW_TAG_variable, {Name("v"), Type("int")})
           .parent(DW_TAG_variant_part)
               .child(DW_TAG_member, {Name("tag"), Type("int")})
               .parent(DW_TAG_variant).child(DW_TAG_member, {Name("one"), Type("int")}).end()
               .parent(DW_TAG_variant).child(DW_TAG_member, {Name("two"), Type("int")}).end().end()
           .child(DW_TAG_member, {Name("last"), Type("int")}).end(); },
       "4 s 8 {tag:int one:int two:int last:int} {}"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      for (const int version : {4, 5}) {
        Unit unit = Begin(version, fact.language);
        fact.entry(unit.label("it"));
        unit.child(DW_TAG_variable, {Name("last"), Type("it")}).end();
        const DescModule* module = Read(order, unit);
        EXPECT_EQ(Describe(*Find(module->vars, "last")->type), fact.expected) << version;
      }
    }
  }
}

// A field of `width` bits from the bit `first` on, in memory order, of the type `declared`; all versions agree.
TEST_F(PublishedTypes, BitFieldsAreTheSameInEveryVersion) {
  const struct {
    const char* declared;
    int first, width;
    int storage;      // bytes, of the unit that version 2 counts in
    int storageByte;  // where that begins
    const char* little;
    const char* big;
  } facts[] = {
      {"int", 0, 3, 4, 0, "23 0 4 0", "23 0 4 1d"},    {"int", 40, 5, 4, 4, "23 4 4 8", "23 4 4 13"},
      {"int", 27, 13, 4, 3, "23 3 4 3", "23 3 4 10"},  // crosses: from its first byte
      {"char", 13, 7, 2, 1, "23 1 2 5", "23 1 2 4"},   // does not fit there: the bytes that it touches
      {"far", 3, 7, 4, 0, "23 0 2 3", "23 0 2 6"},     // of a type without a size: the same
      {"long", 30, 40, 8, 1, "23 3 8 6", "23 3 8 12"},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const bool isLittle = order == ByteOrder::little;
      const int inUnit = fact.first - 8 * fact.storageByte;
      const int fromHigh = isLittle ? 8 * fact.storage - inUnit - fact.width : inUnit;
      for (const int version : {2, 4, 5}) {
        Unit unit = Begin(version, LANG_C);
        unit.parent(DW_TAG_structure_type, {Name("s"), Size(16)});
        const Attr width = {DW_AT_bit_size, DW_FORM_data1, fact.width};
        if (version == 2) {
          unit.child(DW_TAG_member, {Name("f"),
                                     Type(fact.declared),
                                     Size(fact.storage),
                                     width,
                                     {DW_AT_bit_offset, DW_FORM_sdata, fromHigh},
                                     {DW_AT_data_member_location, DW_FORM_block1,
                                      Bytes().u8(DW_OP_plus_uconst).uleb(static_cast<uint64_t>(fact.storageByte))}});
        } else if (version == 4) {  // as compilers write them that are not strict
          unit.child(DW_TAG_member, {Name("f"),
                                     Type(fact.declared),
                                     Size(fact.storage),
                                     width,
                                     {DW_AT_bit_offset, DW_FORM_sdata, fromHigh},
                                     {DW_AT_data_member_location, DW_FORM_data1, fact.storageByte}});
        } else {
          unit.child(DW_TAG_member,
                     {Name("f"), Type(fact.declared), width, {DW_AT_data_bit_offset, DW_FORM_data1, fact.first}});
        }
        unit.end().label("char").child(DW_TAG_base_type, {Name("char"), Size(1)});
        unit.label("long").child(DW_TAG_base_type, {Name("long"), Size(8)});
        unit.label("far").child(DW_TAG_structure_type, {Name("far")}).end();
        const DescModule* module = Read(order, unit);
        const DescVar* field = Find(module->types, "s")->items.members;
        EXPECT_EQ(
            Expression(field, 2) + " " + Hex(static_cast<uint32_t>(field->byteSize)) + " " + Hex(field->bitOffset),
            isLittle ? fact.little : fact.big)
            << fact.first << " version " << version;
        EXPECT_EQ(field->bitSize, fact.width);
      }
    }
  }
}

// A producer that counts from the low end, and a field in front of its structure, which has no place.
TEST(BitFields, CountedFromTheLowEnd) {
  const RawBitField field = {
      .bitSize = 3, .bits = 2, .countsFromStart = false, .countsFromLowEnd = true, .byteOffset = 4, .storageSize = 4};
  for (const bool isLittle : {false, true}) {
    BitFieldPlace place = {};
    EXPECT_TRUE(PlaceBitField(field, 4, isLittle, &place));
    EXPECT_EQ(place.byteOffset, 4u);
    EXPECT_EQ(place.bitOffset, 2u);
  }
  RawBitField lost = field;
  lost.bits = -60;
  BitFieldPlace place = {};
  EXPECT_FALSE(PlaceBitField(lost, 4, true, &place));
}

// Constants without a place, with as many bytes as their types.
TEST_F(PublishedTypes, ConstantsBecomeImplicitValues) {
  const struct {
    Attrs attrs;
    size_t count;
    const char* little;
    const char* big;
  } facts[] = {
      {{Type("int"), Value(DW_FORM_data1, 0xFE)}, 6, "9e 4 fe 0 0 0", "9e 4 0 0 0 fe"},
      {{Type("int"), Value(DW_FORM_sdata, -2)}, 6, "9e 4 fe ff ff ff", "9e 4 ff ff ff fe"},
      {{Type("long"), Value(DW_FORM_sdata, -2)}, 10, "9e 8 fe ff ff ff ff ff ff ff", "9e 8 ff ff ff ff ff ff ff fe"},
      {{Value(DW_FORM_data2, 0x102)}, 4, "9e 2 2 1", "9e 2 1 2"},
      {{Type("int"), {DW_AT_const_value, DW_FORM_block1, Bytes().u8(1).u8(2).u8(3).u8(4)}},
       7,
       "9e 4 1 2 3 4 0",
       "9e 4 1 2 3 4 0"},
      {{Type("int"), {DW_AT_const_value, DW_FORM_string, "ab"}}, 6, "9e 4 61 62 0 0", "9e 4 61 62 0 0"},
      {{Type("int"), {DW_AT_const_value, DW_FORM_ref4, "int"}}, 0, "-", "-"},
      {{Type("int"), Value(DW_FORM_data1, 1), {DW_AT_location, DW_FORM_block1, Bytes().u8(0x50)}}, 2, "50 0", "50 0"},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      for (const int version : {3, 5}) {
        Unit unit = Begin(version, LANG_C);
        Attrs attrs = fact.attrs;
        attrs.push_back(Name("v"));
        unit.child(DW_TAG_variable, attrs).label("long").child(DW_TAG_base_type, {Name("long"), Size(8)}).end();
        const DescVar* variable = Read(order, unit)->vars;
        EXPECT_EQ(Expression(variable, fact.count), order == ByteOrder::little ? fact.little : fact.big);
      }
    }
  }
}

}  // namespace
