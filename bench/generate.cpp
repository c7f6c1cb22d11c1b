// Files that grow in one direction, for the checks of growth.
//
//   elfload_generate units COUNT FILE       so many units, with indexes, line programs and frames in mixed order
//   elfload_generate structures COUNT FILE  one unit with so many structures, and variables that use them
#include <charconv>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "support/dwarf2_builder.h"

namespace {

constexpr uint32_t FIRST_ADDRESS = 0x10000;
constexpr uint32_t UNIT_BYTES = 0x100;

// Of expressions, which the readers do not look into.
enum DwarfOperation : uint8_t { DW_OP_addr = 0x03, DW_OP_plus_uconst = 0x23, DW_OP_reg3 = 0x53 };

Bytes FixedAddress(uint32_t address) {
  return Bytes().u8(DW_OP_addr).u32(address);
}

// A unit of UNIT_BYTES code with a structure, a variable and two procedures.
Unit SmallUnit(uint32_t number) {
  const std::string n = std::to_string(number);
  const uint32_t low = FIRST_ADDRESS + number * UNIT_BYTES;
  Unit unit({.label = "unit " + n});
  unit.parent(DW_TAG_compile_unit, {{DW_AT_name, DW_FORM_string, "unit" + n + ".c"},
                                    {DW_AT_language, DW_FORM_data1, 1},
                                    {DW_AT_low_pc, DW_FORM_addr, low},
                                    {DW_AT_high_pc, DW_FORM_addr, low + UNIT_BYTES},
                                    {DW_AT_stmt_list, DW_FORM_data4, "lines " + n}});
  unit.label("int " + n)
      .child(DW_TAG_base_type, {{DW_AT_name, DW_FORM_string, "int"},
                                {DW_AT_byte_size, DW_FORM_data1, 4},
                                {DW_AT_encoding, DW_FORM_data1, 5}});
  unit.label("node " + n)
      .parent(DW_TAG_structure_type, {{DW_AT_name, DW_FORM_string, "node"}, {DW_AT_byte_size, DW_FORM_data1, 8}})
      .child(DW_TAG_member, {{DW_AT_name, DW_FORM_string, "value"},
                             {DW_AT_type, DW_FORM_ref4, "int " + n},
                             {DW_AT_data_member_location, DW_FORM_block1, Bytes().u8(DW_OP_plus_uconst).uleb(0)}})
      .child(DW_TAG_member, {{DW_AT_name, DW_FORM_string, "next"},
                             {DW_AT_type, DW_FORM_ref4, "pointer " + n},
                             {DW_AT_data_member_location, DW_FORM_block1, Bytes().u8(DW_OP_plus_uconst).uleb(4)}})
      .end();
  unit.label("pointer " + n)
      .child(DW_TAG_pointer_type, {{DW_AT_byte_size, DW_FORM_data1, 4}, {DW_AT_type, DW_FORM_ref4, "node " + n}});
  unit.label("variable " + n)
      .child(DW_TAG_variable, {{DW_AT_name, DW_FORM_string, "head" + n},
                               {DW_AT_type, DW_FORM_ref4, "node " + n},
                               {DW_AT_location, DW_FORM_block1, FixedAddress(0x2000000 + 8 * number)}});
  for (const char* half : {"first", "second"}) {
    const uint32_t start = half[0] == 'f' ? low : low + UNIT_BYTES / 2;
    unit.label(half + (" " + n))
        .parent(DW_TAG_subprogram, {{DW_AT_name, DW_FORM_string, half + n},
                                    {DW_AT_type, DW_FORM_ref4, "int " + n},
                                    {DW_AT_low_pc, DW_FORM_addr, start},
                                    {DW_AT_high_pc, DW_FORM_addr, start + UNIT_BYTES / 2}})
        .child(DW_TAG_formal_parameter, {{DW_AT_name, DW_FORM_string, "list"},
                                         {DW_AT_type, DW_FORM_ref4, "pointer " + n},
                                         {DW_AT_location, DW_FORM_block1, Bytes().u8(DW_OP_reg3)}})
        .end();
  }
  unit.end();
  return unit;
}

LineProgram SmallProgram(uint32_t number) {
  const std::string name = "unit" + std::to_string(number) + ".c";
  // minimum_instruction_length to opcode_base 5, standard_opcode_lengths 9, no directory 1, a file of 4 and its name,
  // the end of the files 1
  const auto prologueLength = static_cast<uint32_t>(5 + 9 + 1 + 4 + name.size() + 1);
  LineProgram program({.prologueLength = prologueLength, .label = "lines " + std::to_string(number)});
  program.file(name).setAddress(FIRST_ADDRESS + number * UNIT_BYTES).copy();
  for (int i = 0; i < 20; i++) {
    program.op(0x40);
  }
  program.endSequence();
  return program;
}

// A common entry, and a description for each unit, every 7919th after the other.
Bytes MixedFrames(uint32_t units) {
  Bytes frames;
  frames.append(Bytes().length().u32(0xFFFFFFFF).u8(1).text("").uleb(4).sleb(-4).u8(65).u8(0x0C).uleb(1).uleb(0));
  for (uint32_t i = 0; i < units; i++) {
    const auto unit = static_cast<uint32_t>(uint64_t{i} * 7919 % units);
    frames.append(Bytes().length().u32(0).u32(FIRST_ADDRESS + unit * UNIT_BYTES).u32(UNIT_BYTES).u8(0x41).u8(0));
  }
  return frames;
}

ElfFile ManyUnits(uint32_t count) {
  Bytes info;
  Bytes abbrev;
  Bytes line;
  Bytes names;
  Bytes ranges;
  for (uint32_t i = 0; i < count; i++) {
    const std::string n = std::to_string(i);
    const Unit unit = SmallUnit(i);
    info.append(unit);
    abbrev.append(unit.abbrevs());
    line.append(SmallProgram(i));
    PubNames set("unit " + n);
    for (const char* name : {"head", "first", "second"}) {
      set.name(1, name + n);
    }
    names.append(set.end());
    ranges.append(ARanges("unit " + n).range(FIRST_ADDRESS + i * UNIT_BYTES, UNIT_BYTES).end());
  }
  return ElfFile(ByteOrder::big)
      .segment(PT_LOAD, FIRST_ADDRESS, Bytes().u32(0))
      .section(".debug_info", info)
      .section(".debug_abbrev", abbrev)
      .section(".debug_line", line)
      .section(".debug_pubnames", names)
      .section(".debug_aranges", ranges)
      .section(".debug_frame", MixedFrames(count));
}

ElfFile ManyStructures(uint32_t count) {
  Unit unit;
  unit.parent(DW_TAG_compile_unit, {{DW_AT_name, DW_FORM_string, "structures.c"}, {DW_AT_language, DW_FORM_data1, 1}});
  unit.label("int").child(
      DW_TAG_base_type,
      {{DW_AT_name, DW_FORM_string, "int"}, {DW_AT_byte_size, DW_FORM_data1, 4}, {DW_AT_encoding, DW_FORM_data1, 5}});
  for (uint32_t i = 0; i < count; i++) {
    const std::string n = std::to_string(i);
    // Every other variable comes before its structure.
    const auto variable = [&] {
      unit.child(DW_TAG_variable, {{DW_AT_name, DW_FORM_string, "variable" + n},
                                   {DW_AT_type, DW_FORM_ref4, "structure " + n},
                                   {DW_AT_location, DW_FORM_block1, FixedAddress(0x2000000 + 8 * i)}});
    };
    if (i % 2 == 0) {
      variable();
    }
    unit.label("structure " + n)
        .parent(DW_TAG_structure_type,
                {{DW_AT_name, DW_FORM_string, "structure" + n}, {DW_AT_byte_size, DW_FORM_data1, 8}})
        .child(DW_TAG_member, {{DW_AT_name, DW_FORM_string, "value"},
                               {DW_AT_type, DW_FORM_ref4, "int"},
                               {DW_AT_data_member_location, DW_FORM_block1, Bytes().u8(DW_OP_plus_uconst).uleb(0)}})
        .child(DW_TAG_member, {{DW_AT_name, DW_FORM_string, "next"},
                               {DW_AT_type, DW_FORM_ref4, "pointer " + n},
                               {DW_AT_data_member_location, DW_FORM_block1, Bytes().u8(DW_OP_plus_uconst).uleb(4)}})
        .end();
    unit.label("pointer " + n)
        .child(DW_TAG_pointer_type,
               {{DW_AT_byte_size, DW_FORM_data1, 4}, {DW_AT_type, DW_FORM_ref4, "structure " + n}});
    if (i % 2 != 0) {
      variable();
    }
  }
  unit.end();
  return Dwarf2File(ByteOrder::big, unit).segment(PT_LOAD, FIRST_ADDRESS, Bytes().u32(0));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view shape = argc == 4 ? argv[1] : "";
  const std::string_view number = argc == 4 ? argv[2] : "";
  uint32_t count = 0;
  const auto [stop, error] = std::from_chars(number.data(), number.data() + number.size(), count);
  if ((shape != "units" && shape != "structures") || error != std::errc() || count == 0) {
    std::fprintf(stderr, "usage: elfload_generate units|structures COUNT FILE\n");
    return 2;
  }
  const RawBytes bytes = (shape == "units" ? ManyUnits(count) : ManyStructures(count)).build();
  std::ofstream out(argv[3], std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) {
    std::fprintf(stderr, "elfload_generate: %s cannot be written\n", argv[3]);
    return 1;
  }
  return 0;
}
