#include "sound_files.h"

#include <cstring>

#include "support/dwarf1_builder.h"
#include "support/dwarf2_builder.h"

namespace {

Attr Block(uint32_t attribute, const Bytes& expression) {
  return {attribute, DW_FORM_block1, expression};
}
Attr At(uint32_t address) {
  return Block(DW_AT_location, Bytes().u8(DW_OP_addr).u32(address));
}
Attr Member(uint32_t offset) {
  return Block(DW_AT_data_member_location, Bytes().u8(0x23).u8(offset));
}
Attr Listed(const char* label) {
  return {DW_AT_location, DW_FORM_data4, label};
}
Attr Number(uint32_t attribute, int64_t value) {
  return {attribute, DW_FORM_data1, value};
}

Unit Dwarf2Unit(const std::string& label, const std::string& source, uint32_t low) {
  return Unit({.label = label})
      .parent(DW_TAG_compile_unit, {Name(source),
                                    {DW_AT_comp_dir, DW_FORM_strp, "directory"},
                                    {DW_AT_producer, DW_FORM_string, "any"},
                                    Number(DW_AT_language, 1),
                                    {DW_AT_stmt_list, DW_FORM_data4, label + " lines"},
                                    Low(low),
                                    High(low + 0x40)})
      .label(label + " int")
      .child(DW_TAG_base_type, {Name("int"), Size(4), Number(DW_AT_encoding, DW_ATE_signed)});
}

// clang-format off
ElfFile Dwarf2(ByteOrder order) {
  const Unit types = Dwarf2Unit("first", "types.c", 0x100)
      .label("node").parent(DW_TAG_structure_type, {Name("node"), Size(12)})
          .child(DW_TAG_member, {Name("next"), Type("to node"), Member(0)})
          .child(DW_TAG_member, {Name("bits"), Type("first int"), Size(4), Number(DW_AT_bit_size, 3),
                                 Number(DW_AT_bit_offset, 5), Member(4)})
          .parent(DW_TAG_subprogram, {Name("method"), Type("flag")})
              .child(DW_TAG_formal_parameter, {Type("to node")}).end().end()
      .label("to node").child(DW_TAG_pointer_type, {Size(4), Type("const node")})
      .label("const node").child(DW_TAG_const_type, {Type("node")})
      .label("flag").parent(DW_TAG_enumeration_type, {Name("flag"), Size(1)})
          .child(DW_TAG_enumerator, {Name("off"), {DW_AT_const_value, DW_FORM_sdata, -1}})
          .child(DW_TAG_enumerator, {Name("on"), {DW_AT_const_value, DW_FORM_udata, 300}}).end()
      .label("table").parent(DW_TAG_array_type, {Type("flag")})
          .child(DW_TAG_subrange_type, {Number(DW_AT_upper_bound, 3), Type("first int")})
          .child(DW_TAG_subrange_type, {Number(DW_AT_lower_bound, 1), {DW_AT_upper_bound, DW_FORM_data2, 9}}).end()
      .label("handler").parent(DW_TAG_subroutine_type, {{DW_AT_prototyped, DW_FORM_flag, 1}})
          .child(DW_TAG_formal_parameter, {Type("table")}).child(DW_TAG_unspecified_parameters).end()
      .child(DW_TAG_variable, {Name("matrix"), Type("table"), At(0x2000), {DW_AT_external, DW_FORM_flag, 1}})
      .child(DW_TAG_typedef, {Name("callback"), Type("handler")})
      .parent(DW_TAG_union_type, {Name("either"), Size(4)})
          .child(DW_TAG_member, {Name("number"), Type("first int")}).end().end();
  const Unit code = Dwarf2Unit("second", "code.c", 0x140)
      .parent(DW_TAG_subprogram, {Name("run"), Type("second int"), Low(0x140), High(0x160),
                                  {DW_AT_frame_base, DW_FORM_data4, "base"}})
          .child(DW_TAG_formal_parameter, {Name("count"), Type("second int"), Listed("places")})
          .parent(DW_TAG_lexical_block, {Low(0x144), High(0x150)})
              .child(DW_TAG_variable, {Name("inner"), Type("second int"),
                                       Block(DW_AT_location, Bytes().u8(0x91).sleb(-8))}).end()
          .child(DW_TAG_label, {Name("again"), Low(0x148)}).child(TAG_VENDOR_CODE_MARK, {Low(0x14C)}).end()
      .child(DW_TAG_label, {Name("vector"), Low(0x170)})
      .child(DW_TAG_variable, {Name("count"), {DW_AT_type, DW_FORM_ref_addr, "first int"}, Listed("places")}).end();
  const auto lines = [](const std::string& label, const char* source, uint32_t low) {
    return LineProgram({.label = label}).directory("include").file(source).file("board.h", 1)
        .setAddress(low).copy().op(20).setFile(2).advanceLine(-2).op(40).op(DW_LNS_const_add_pc)
        .setFile(1).fixedAdvancePc(4).copy().advancePc(8).endSequence();
  };
  return Dwarf2File(order, types, code)
      .segment(PT_LOAD, 0x100, Bytes().pad(0x80, 0x4E))
      .segment(PT_LOAD, 0x2000, Bytes().pad(0x20, 1)).set(&ElfProgramHeader::p_paddr, 0x180)
      .section(".debug_str", Bytes().label("directory").text("/project"))
      .section(".debug_loc", LocationList().label("base").range(0, 4, {0x51}).range(4, 0x20, {0x91, 0}).end(),
               LocationList().label("places").range(0, 8, {0x53}).range(8, 0x20, {0x91, 0x7C}).end())
      .section(".debug_line", lines("first lines", "types.c", 0x100), lines("second lines", "code.c", 0x140))
      .section(".debug_pubnames", PubNames("first").name(0x20, "matrix").end(), PubNames("second").name(1, "run").end())
      .section(".debug_aranges", ARanges("first").range(0x100, 0x40).end(), ARanges("second").range(0x140, 0x40).end())
      .section(".debug_frame", Frames().cie("cie", 4, -4, 65, {0x0C, 1, 0})
          .fde("cie", 0x140, 0x20, {0x44, 0x0E, 16}).fde("cie", 0x100, 0x40))
      .note(11, Bytes().text("board"));
}

ElfFile Dwarf1(ByteOrder order) {
  const auto half = [](const std::string& label, uint32_t low) {
    const Dwarf1Attrs unit = {at::name("main.c"), at::text(AT_comp_dir, "/prj"), at::stmtList("lines"),
                              at::data4(AT_language, 1), at::text(AT_producer, "any")};
    return Dwarf1Unit(unit, label)
        .parent(TAG_global_subroutine, {at::name("main"), at::userType(label + " alias"), at::lowPc(low),
                                        at::highPc(low + 0x20)})
            .entry(TAG_formal_parameter, {at::name("p"), at::modUserType({MOD_pointer_to, MOD_const}, label + " node"),
                                          at::address(1)})
            .parent(TAG_lexical_block, {at::lowPc(low + 4), at::highPc(low + 8)})
                .entry(TAG_local_variable, {at::name("x"), at::modFundType({MOD_pointer_to}, FT_char), at::address(2)})
                .end()
            .entry(TAG_unspecified_parameters).end()
        .entry(TAG_label, {at::name("behind"), at::lowPc(low + 6)})
        .entry(TAG_label, {at::name("front"), at::lowPc(low + 5)})
        .entry(TAG_global_variable, {at::name("table"), at::userType(label + " array"), at::address(64)})
        .label(label + " array")
        .entry(TAG_array_type, {Subscripts({{0, 3}, {0, 1}}, at::userType(label + " node"))})
        .label(label + " node").parent(TAG_structure_type, {at::name("node"), at::byteSize(8)})
            .entry(TAG_member, {at::name("bits"), at::fundType(FT_short), at::data2(AT_bit_offset, 3),
                                at::data4(AT_bit_size, 2), at::address(0)}).end()
        .label(label + " alias").entry(TAG_typedef, {at::name("alias"), at::userType(label + " colour")})
        .label(label + " colour")
        .entry(TAG_enumeration_type, {at::name("colour"), at::elements({{-1, "red"}, {2, "green"}})})
        .parent(TAG_subroutine_type, {at::fundType(FT_void)})
            .entry(TAG_formal_parameter, {at::userType("elsewhere")}).end();
  };
  const auto other = Dwarf1Unit({at::name("other.c")}).label("elsewhere").entry(TAG_union_type, {at::name("u")});
  return Dwarf1File(order, half("first", 0x100), half("second", 0x120), other)
      .section(".line", LineTable("lines", 0x100, {{1, 0}, {2, 8, 4}, {3, 0x20}, {9, 0x30}, {0, 0x40}}))
      .section(".debug_pubnames", NameSet("first", {"main", "table"}))
      .section(".debug_aranges", RangeSet("first", {{0x100, 0x40}}));
}
// clang-format on

uint32_t Word(const uint8_t* bytes, ByteOrder order, uint32_t size) {
  uint32_t value = 0;
  for (uint32_t i = 0; i < size; ++i) {
    value = value << 8 | bytes[order == ByteOrder::big ? i : size - 1 - i];
  }
  return value;
}

}  // namespace

RawBytes MakeSoundFile(SoundFormat format, ByteOrder order) {
  return (format == SoundFormat::dwarf1 ? Dwarf1(order) : Dwarf2(order)).build();
}

RawBytes WithSection(RawBytes file, ByteOrder order, const char* section, const uint8_t* bytes, size_t size) {
  const auto header = [&](uint32_t index) { return Word(&file[32], order, 4) + 40 * index; };  // e_shoff, Elf32_Shdr
  const uint32_t count = Word(&file[48], order, 2);
  const uint32_t names = Word(&file[header(Word(&file[50], order, 2)) + 16], order, 4);
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t at = header(i);
    if (std::strcmp(reinterpret_cast<char*>(&file[names + Word(&file[at], order, 4)]), section) == 0) {
      const RawBytes place = Bytes().u32(file.size()).u32(size).In(order);
      std::copy(place.begin(), place.end(), file.begin() + at + 16);
      file.insert(file.end(), bytes, bytes + size);
      return file;
    }
  }
  std::abort();
}
