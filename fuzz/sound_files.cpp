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
      .section(".eh_frame")
      .note(11, Bytes().text("board"));
}

Attr Indexed(uint32_t attribute, uint32_t form, uint32_t index) {
  return {attribute, form, index};
}
Attr InSection(uint32_t attribute, const char* label) {
  return {attribute, DW_FORM_sec_offset, label};
}
Attr Expression(uint32_t attribute, const Bytes& expression) {
  return {attribute, DW_FORM_exprloc, expression};
}
Attr Signature(uint32_t attribute, int64_t value) {
  return {attribute, DW_FORM_ref_sig8, value};
}
Attr Far(uint32_t attribute, const char* entry) {
  return {attribute, DW_FORM_ref_addr, entry};
}

// A type by signature, with one member.
Unit TypeUnit(uint16_t version, uint64_t signature, const std::string& name) {
  return Unit({.version = version, .type = DW_UT_type, .signature = signature, .forType = name})
      .parent(DW_TAG_type_unit, {Number(DW_AT_language, 4)})
      .parent(DW_TAG_namespace, {Name("types")})
      .label(name).parent(DW_TAG_structure_type, {Name(name), Size(4)})
          .child(DW_TAG_member, {Name("m"), Type(name + " char"), Number(DW_AT_data_member_location, 1)}).end().end()
      .label(name + " char").child(DW_TAG_base_type, {Name("char"), Size(1), Number(DW_AT_encoding, 6)}).end();
}

Unit Dwarf5Unit() {
  return Unit({.version = 5, .label = "five"})
      .parent(DW_TAG_compile_unit, {Indexed(DW_AT_name, DW_FORM_strx1, 0), {DW_AT_comp_dir, DW_FORM_line_strp, "project"},
                                    {DW_AT_producer, DW_FORM_strp, "any"}, Number(DW_AT_language, 0x21),
                                    InSection(DW_AT_stmt_list, "five lines"),
                                    Indexed(DW_AT_low_pc, DW_FORM_addrx, 0),
                                    Indexed(DW_AT_ranges, DW_FORM_rnglistx, 0),
                                    InSection(DW_AT_str_offsets_base, "texts"), InSection(DW_AT_addr_base, "addresses"),
                                    InSection(DW_AT_rnglists_base, "ranges"), InSection(DW_AT_loclists_base, "places")})
      .child(DW_TAG_imported_unit, {Far(DW_AT_import, "part")})
      .label("five int")
      .child(DW_TAG_base_type, {Name("int"), Size(4), {DW_AT_encoding, DW_FORM_implicit_const, 5}})
      .parent(DW_TAG_namespace, {Name("ns")})
          .label("ring").parent(DW_TAG_class_type, {Name("ring"), Size(8)})
              .child(DW_TAG_member, {Name("bits"), Type("five int"), Number(DW_AT_bit_size, 3),
                                     Number(DW_AT_data_bit_offset, 40)})
              .label("push").parent(DW_TAG_subprogram, {Name("push"), {DW_AT_declaration, DW_FORM_flag_present, 0}})
                  .child(DW_TAG_formal_parameter, {Type("five int")}).end().end()
          .label("table").child(DW_TAG_variable, {Name("table"), Type("open"), {DW_AT_declaration, DW_FORM_flag, 1}}).end()
      .label("open").parent(DW_TAG_array_type, {Type("five int")})
          .child(DW_TAG_subrange_type, {Number(DW_AT_count, 3)})
          .child(DW_TAG_subrange_type, {Expression(DW_AT_upper_bound, Bytes().u8(0x30))}).end()
      .child(DW_TAG_variable, {{DW_AT_specification, DW_FORM_ref4, "table"},
                               Expression(DW_AT_location, Bytes().u8(0xA1).uleb(2))})
      .child(DW_TAG_variable, {Name("outer"), Signature(DW_AT_type, 1)})
      .child(DW_TAG_variable, {Name("typed"), Signature(DW_AT_type, 2), {DW_AT_const_value, DW_FORM_sdata, -2}})
      .child(DW_TAG_variable, {Name("far"), Far(DW_AT_type, "four node")})
      .label("add").parent(DW_TAG_subprogram, {Name("add"), Number(DW_AT_inline, 3)})
          .label("by").child(DW_TAG_formal_parameter, {Name("by"), Type("five int")}).end()
      .label("entry push").parent(DW_TAG_subprogram, {{DW_AT_specification, DW_FORM_ref4, "push"},
                                                      Indexed(DW_AT_ranges, DW_FORM_rnglistx, 1),
                                                      Expression(DW_AT_frame_base, Bytes().u8(0x9C))})
          .child(DW_TAG_formal_parameter, {Name("x"), Type("ring"), Indexed(DW_AT_location, DW_FORM_loclistx, 0)})
          .parent(DW_TAG_lexical_block, {Indexed(DW_AT_low_pc, DW_FORM_addrx1, 0), Number(DW_AT_high_pc, 8)})
              .child(DW_TAG_variable, {Name("l"), Type("five int"), Expression(DW_AT_location, Bytes().u8(0x91).sleb(4))})
              .parent(DW_TAG_inlined_subroutine, {{DW_AT_abstract_origin, DW_FORM_ref4, "add"}, Low(0x104),
                                                  Number(DW_AT_high_pc, 4), Number(DW_AT_call_file, 1),
                                                  Number(DW_AT_call_line, 9)})
                  .child(DW_TAG_formal_parameter, {{DW_AT_abstract_origin, DW_FORM_ref4, "by"},
                                                   Number(DW_AT_const_value, 1)}).end().end().end().end();
}

Unit Dwarf4Unit() {
  return Unit({.version = 4, .label = "four"})
      .parent(DW_TAG_compile_unit, {Name("four.c"), Number(DW_AT_language, 12), InSection(DW_AT_stmt_list, "four lines"),
                                    Low(0x140), InSection(DW_AT_ranges, "pairs")})
      .label("four node").parent(DW_TAG_structure_type, {Name("node"), Size(4)})
          .child(DW_TAG_member, {Name("t"), Signature(DW_AT_type, 2)}).end()
      .label("entry run").parent(DW_TAG_subprogram, {Name("run"), InSection(DW_AT_ranges, "pairs")})
          .child(DW_TAG_variable, {Name("n"), Type("four node"), InSection(DW_AT_location, "list")}).end().end();
}

// .debug_names of the two units.
Bytes NamesOf(const Unit& four) {
  return Bytes().length().u16(5).u16(0).u32(2).u32(0).u32(0).u32(1).u32(1).u32(9).u32(4).text("abc").ref("five")
      .ref("four").u32(1).u32(0x77).ref("run").u32(0)
      .uleb(1).uleb(DW_TAG_subprogram).uleb(1).uleb(DW_FORM_data1).uleb(3).uleb(DW_FORM_ref4).u16(0).u8(0)
      .uleb(1).u8(1).u32(four.labels().at("entry run")).u8(0);
}

ElfFile Later(ByteOrder order) {
  const Unit five = Dwarf5Unit();
  const Unit four = Dwarf4Unit();
  const Unit part = Unit({.version = 5, .type = DW_UT_partial, .is64Bit = true})
      .label("part").parent(DW_TAG_partial_unit, {Number(DW_AT_language, 0x21)})
      .parent(DW_TAG_namespace, {Name("shared")}).child(DW_TAG_structure_type, {Name("both"), Size(1)}).end().end();
  const Unit inInfo = TypeUnit(5, 1, "outer");
  const Unit inTypes = TypeUnit(4, 2, "typed");
  const Bytes tables = Bytes().u8(1).uleb(1).uleb(DW_FORM_line_strp).uleb(1).ref("project")
      .u8(2).uleb(1).uleb(DW_FORM_string).uleb(2).uleb(DW_FORM_udata).uleb(2).text("five.cpp").u8(0).text("ring.h").u8(0);
  const auto program = [](LineProgram lines, uint32_t low) {
    return lines.setAddress(low).copy().op(20).setFile(1).advanceLine(2).op(40).advancePc(0x10).endSequence();
  };
  return ElfFile(order)
      .section(".debug_info", five, inInfo, part, four).section(".debug_types", inTypes)
      .section(".debug_abbrev", five.abbrevs(), inInfo.abbrevs(), part.abbrevs(), four.abbrevs(), inTypes.abbrevs())
      .segment(PT_LOAD, 0x100, Bytes().pad(0x80, 0x4E))
      .segment(PT_LOAD, 0x2000, Bytes().pad(0x20, 1))
      .section(".debug_str", Bytes().text("x").label("any").text("any").label("name").text("five.cpp").label("run")
          .text("run"))
      .section(".debug_line_str", Bytes().text("x").label("project").text("/project"))
      .section(".debug_str_offsets", Bytes().length().u16(5).u16(0).label("texts").ref("name"))
      .section(".debug_addr", Bytes().length().u16(5).u8(4).u8(0).label("addresses").u32(0x100).u32(0x120).u32(0x2000))
      .section(".debug_ranges", Bytes().u64(0).label("pairs").u32(0).u32(0x20).u32(0xFFFFFFFF).u32(0x160).u32(0).u32(8)
          .u64(0))
      .section(".debug_rnglists", Bytes().length().u16(5).u8(4).u8(0).u32(2).label("ranges").u32(8).u32(12)
          .u8(DW_RLE_offset_pair).u8(0).u8(0x40).u8(0)
          .u8(DW_RLE_startx_length).u8(0).u8(0x10).u8(DW_RLE_start_end).u32(0x120).u32(0x130).u8(0))
      .section(".debug_loc", Bytes().u64(0).label("list").u32(0).u32(8).u16(1).u8(0x53).u32(8).u32(16).u16(2).u8(0x91)
          .u8(4).u64(0))
      .section(".debug_loclists", Bytes().length().u16(5).u8(4).u8(0).u32(1).label("places").u32(4)
          .u8(DW_LLE_offset_pair).u8(0).u8(8).u8(1).u8(0x53).u8(DW_LLE_base_addressx).u8(1)
          .u8(DW_LLE_offset_pair).u8(0).u8(8).u8(2).u8(0xA1).u8(2).u8(DW_LLE_default_location).u8(1).u8(0x50).u8(0))
      .section(".debug_line", program(LineProgram({.version = 5, .tables = tables}, "five lines"), 0x100),
               program(LineProgram({.version = 4}, "four lines"), 0x140))
      .section(".debug_names", NamesOf(four))
      .section(".debug_gnu_pubnames", Bytes().length().u16(2).ref("five").u32(0).u32(1).u8(0x30).text("ns::ring::push")
          .u32(0))
      .section(".debug_pubnames", PubNames("five").name(1, "ns::ring::push").end())
      .section(".debug_aranges", ARanges("four").range(0x140, 0x20).end())
      .section(".debug_frame", Frames().cie("cie", 4, -4, 65, {0x0C, 1, 0}).fde("cie", 0x140, 0x20, {0x44, 0x0E, 16}))
      .section(".eh_frame", Bytes().length().u32(0).u8(1).text("zR").uleb(1).sleb(-4).u8(65).uleb(1).u8(0).u8(0x0C)
          .u8(1).u8(0), Bytes().length().u32(24).u32(0x100).u32(0x40).uleb(0).u8(0x44).u8(0x0E).u8(16), Bytes().u32(0));
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
  switch (format) {
    case SoundFormat::dwarf1:
      return Dwarf1(order).build();
    case SoundFormat::dwarf2:
      return Dwarf2(order).build();
    default:
      return Later(order).build();
  }
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
