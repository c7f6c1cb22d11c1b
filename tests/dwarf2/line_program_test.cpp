// Line programs in both variants: the rows, files and address ranges that a fill takes from them.
#include <gtest/gtest.h>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "support/environment.h"
#include "support/host_fixture.h"

namespace {

const LineHeader STANDARD = {.minimumInstructionLength = 2};
const LineHeader LENGTH_1 = {};
const LineHeader BASE_13 = {.opcodeBase = 13, .standardOpcodeLengths = {0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 2, 1}};
const LineHeader REDUCED = {
    .minimumInstructionLength = 2, .opcodeBase = 9, .standardOpcodeLengths = {9, 9, 9, 9, 9, 9, 9, 9, 9}};
const LineHeader BASE_0 = {.opcodeBase = 0, .standardOpcodeLengths = {}};
const Texts NO_ROWS = {" ffffffff:4294967295:4294967295"};

class LinePrograms : public HostTest {
 protected:
  // The one unit has no procedures, so that each address range shows as a line-info procedure.
  DescModule* Run(ByteOrder order, const LineProgram& program, uint8_t addressSize = 4) {
    const Unit unit = Unit({.addressSize = addressSize})
                          .parent(DW_TAG_compile_unit, {{DW_AT_stmt_list, DW_FORM_data4, "program"}})
                          .child(DW_TAG_variable, {Name("v")})
                          .end();
    return LoadAndExtend(Dwarf2File(order, unit)
                             .section(".debug_line", Bytes().pad(BEFORE, 0xEE), program)
                             .section(".debug_line_str", Bytes().text("main.c").text("/project").text("sub/"))
                             .section(".debug_str", Bytes().text("").text("s.c")));
  }

  static constexpr uint32_t BEFORE = 3;  // bytes before the program
};

LineProgram Program(LineHeader header) {
  header.label = "program";
  return LineProgram(header).directory("include").file("a.c", 1).file("src/b.c").setAddress(0x1000);
}

TEST_F(LinePrograms, GiveRowsFilesAndRanges) {
  const struct {
    const char* what;
    LineProgram program;
    Texts blocks;
    Texts files;
    Texts ranges;  // "low-high", high behind the last row's address
  } facts[] = {
      // clang-format off
      // A = 0x20 - 10 = 22: address + 2 * (22 / 12), line + -3 + 22 % 12
      {"special opcode", Program(STANDARD).op(0x20).endSequence(), {"a.c 1002:8"}, {"a.c"}, {"1002-1003"}},
      // A = 255 - 10 = 245; here it moves the line and makes a row, as a special opcode does
      {"const_add_pc", Program(STANDARD).op(DW_LNS_const_add_pc).endSequence(), {"a.c 1028:3"}, {"a.c"}, {"1028-1029"}},
      {"advances are scaled", Program(STANDARD).advancePc(3).copy().fixedAdvancePc(0x101).copy().endSequence(),
       {"a.c 1006:1 1208:1"}, {"a.c"}, {"1006-1007", "1208-1209"}},
      {"registers without rows; is_stmt has no effect",
       Program(STANDARD).advanceLine(200).advanceLine(-3).op(DW_LNS_set_column, 300).op(DW_LNS_negate_stmt).copy()
           .op(DW_LNS_set_basic_block).op(DW_LNS_set_column, 0).copy().endSequence(),
       {"a.c 1000:198:300 1000:198"}, {"a.c"}, {"1000-1001"}},
      {"end of a sequence resets the registers and makes no row",
       Program(STANDARD).advanceLine(8).op(DW_LNS_set_column, 4).setFile(2).copy().endSequence().setAddress(0x2000)
           .copy().endSequence(),
       {"src/b.c 1000:9:4", "a.c 2000:1"}, {"b.c<src/b.c>", "a.c"}, {"1000-1001", "2000-2001"}},
      {"file and back", Program(STANDARD).copy().setFile(2).copy().setFile(1).copy().setFile(2).setFile(1).copy(),
       {"a.c 1000:1", "src/b.c 1000:1", "a.c 1000:1 1000:1"}, {"a.c", "b.c<src/b.c>"}, {"1000-1001"}},
      {"no file of that number",
       Program(STANDARD).setFile(0).copy().setFile(3).copy().setFile(0xFFFFFFFF).copy().endSequence(),
       {" 1000:1", " 1000:1", " 1000:1"}, {}, {"1000-1001"}},
      {"file defined on the way", Program(STANDARD).defineFile("x\\y/c.c").setFile(3).copy().endSequence(),
       {"x\\y/c.c 1000:1"}, {"c.c<x\\y/c.c>"}, {"1000-1001"}},
      {"base names that are equal, and none",
       Program(STANDARD).defineFile("x/a.c").defineFile("x\\A.C").defineFile("dir/").copy().setFile(3).copy().setFile(4)
           .copy().setFile(5).copy().endSequence(),
       {"a.c 1000:1", "x/a.c 1000:1", "x\\A.C 1000:1", "dir/ 1000:1"}, {"a.c", "A.C<x\\A.C>"}, {"1000-1001"}},
      {"empty defined name: its values are opcodes", Program(STANDARD).extended(3, Bytes().u8(0).u8(1).u8(1).u8(0x20)),
       {"a.c 1000:1 1000:1 1002:8"}, {"a.c"}, {"1000-1003"}},
      {"rows up to 256 bytes apart are one range",
       Program(LENGTH_1).copy().advancePc(0x100).copy().advancePc(0x101).copy().endSequence(),
       {"a.c 1000:1 1100:1 1201:1"}, {"a.c"}, {"1000-1101", "1201-1202"}},
      {"a range does not grow downward", Program(LENGTH_1).copy().advancePc(0xFFFFFF00).copy().endSequence(),
       {"a.c 1000:1 f00:1"}, {"a.c"}, {"1000-1001"}},
      {"low addresses do not wrap",
       Program(LENGTH_1).endSequence().copy().advancePc(0xFF).copy().advancePc(0x101).copy().endSequence(),
       {"a.c 0:1 ff:1 200:1"}, {"a.c"}, {"0-100", "200-201"}},
      {"dropped code", Program(STANDARD).setAddress(0).copy().setFile(2).op(0x20).setAddress(0x10).copy().setAddress(0)
           .copy().endSequence().copy().endSequence(),
       {"src/b.c 10:8", "a.c 0:1"}, {"b.c<src/b.c>", "a.c"}, {"10-11", "0-1"}},
      {"no end of the last sequence", Program(STANDARD).copy(), {"a.c 1000:1"}, {"a.c"}, {"1000-1001"}},
      {"unassigned opcodes take their operands and end the range",
       Program(BASE_13).copy().op(10).copy().op(11).uleb(300).uleb(1).copy().op(12).uleb(0).advancePc(1).copy(),
       {"a.c 1000:1 1000:1 1000:1 1001:1"}, {"a.c"}, {"1000-1001", "1001-1002"}},
      {"unknown extended opcodes go by their length",
       Program(STANDARD).copy().extended(0x80, Bytes().u8(1).u8(1).u8(1)).advancePc(1).copy().extended(4).copy(),
       {"a.c 1000:1 1002:1 1002:1"}, {"a.c"}, {"1000-1001", "1002-1003"}},
      {"extended length 0: the opcode is read all the same", Program(STANDARD).copy().u8(0).u8(0).u8(1).copy(),
       {"a.c 1000:1 0:1"}, {"a.c"}, {"1000-1001", "0-1"}},
      {"the length of known extended opcodes is not looked at", Program(STANDARD).u8(0).u8(99).u8(2).u32(0x3000).copy(),
       {"a.c 3000:1"}, {"a.c"}, {"3000-3001"}},
      // Reduced: a row after every opcode but the extended ones. A = 255 - 9 = 246 in const_add_pc; 9 is special, A = 0
      {"reduced variant",
       Program(REDUCED).advanceLine(4).advancePc(1).setFile(2).op(DW_LNS_set_column, 7).op(DW_LNS_set_basic_block)
           .op(DW_LNS_const_add_pc).op(9).copy().endSequence(),
       {"a.c 1000:5 1002:5", "src/b.c 1002:5 1002:5:7 1002:5:7 102a:8:7 102a:8:7 102a:5:7 102a:5:7"},
       {"a.c", "b.c<src/b.c>"}, {"1000-102b"}},
      {"reduced variant: no rows while is_stmt is clear",
       Program(REDUCED).op(DW_LNS_negate_stmt).advanceLine(4).copy().op(9).op(DW_LNS_negate_stmt).endSequence(),
       {"a.c 1000:2"}, {"a.c"}, {"1000-1001"}},
      // opcode_base 0: every opcode but 0 is special. A = 1 - 0
      {"no standard opcodes", Program(BASE_0).op(1).endSequence(), {"a.c 1000:4294967295"}, {"a.c"}, {"1000-1001"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      DescModule* module = Run(order, fact.program);
      ASSERT_NE(module, nullptr) << fact.what;
      EXPECT_EQ(extended, 1) << fact.what;
      EXPECT_EQ(Described(module->lineBlocks), fact.blocks) << fact.what;
      EXPECT_EQ(Described(module->files), fact.files) << fact.what;
      EXPECT_EQ(Listed(module->procs, [](const DescProc& p) { return Hex(p.lowPc) + "-" + Hex(p.highPc); }),
                fact.ranges)
          << fact.what;
    }
  }
}

LineProgram Published(const PublishedLineHeader& header = {}) { return LineProgram(header, "program"); }

// Formats and entries of version 5 with all that a table has: directories in .debug_line_str, files in any place.
Bytes Tables5() {
  Bytes tables;
  tables.u8(1).u8(DW_LNCT_path).u8(DW_FORM_line_strp).u8(3).u32(7).u32(16).u32(16);
  tables.u8(4).u8(DW_LNCT_path).u8(DW_FORM_indirect).u8(DW_LNCT_directory_index).u8(DW_FORM_udata);
  tables.u8(5).u8(DW_FORM_data16).uleb(0x2001).u8(DW_FORM_block1).u8(4);  // a checksum; a vendor's content
  const auto file = [&](uint8_t form, const Bytes& name, uint8_t directory) {
    tables.u8(form).append(name).u8(directory).pad(16, 5).u8(2).u16(0xEEEE);
  };
  file(DW_FORM_line_strp, Bytes().u32(0), 0);
  file(DW_FORM_strp, Bytes().u32(1), 1);
  file(DW_FORM_string, Bytes().text("/root.h"), 2);
  file(DW_FORM_string, Bytes().text("x.h"), 9);
  return tables;
}

TEST_F(LinePrograms, RunAsPublishedOnRequest) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const PublishedLineHeader BASE_14 = {.opcodeBase = 14,
                                       .standardOpcodeLengths = {0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 2, 1, 2}};
  const PublishedLineHeader BASE_4 = {.opcodeBase = 4, .standardOpcodeLengths = {0, 1, 1}};
  const PublishedLineHeader VLIW = {.version = 4, .minimumInstructionLength = 16, .maximumOperations = 4};
  const struct {
    const char* what;
    LineProgram program;
    Texts blocks;
    Texts ranges;
  } facts[] = {
      // clang-format off
      // A = 255 - 13 = 242: address + 2 * (242 / 12); the operand of fixed_advance_pc counts bytes
      {"no row of const_add_pc, none at the end",
       Published({.minimumInstructionLength = 2}).setAddress(0x1000).op(DW_LNS_const_add_pc).copy().fixedAdvancePc(3)
           .copy().advancePc(1).endSequence(), {"include/a.c 1028:1 102b:1"}, {"1028-102c"}},
      {"addresses of any size", Published().setAddress(0x2000, 2).copy().endSequence().setAddress(0x3000, 8).copy(),
       {"include/a.c 2000:1 3000:1"}, {"2000-2001", "3000-3001"}},
      {"a small opcode_base has no variant of its own",
       Published(BASE_4).setAddress(0x1000).advanceLine(4).op(4 + 12 + 3).endSequence(), {"include/a.c 1001:5"},
       {"1001-1002"}},
      // Opcode 13 + 12 * 3 + 3 advances by 3 operations, const_add_pc by 20. Bundles of 4, 16 bytes each
      {"several operations in an instruction",
       Published(VLIW).setAddress(0x1000).op(52).op(52).advancePc(5).copy().op(DW_LNS_const_add_pc).copy()
           .fixedAdvancePc(1).op(52).advancePc(1).copy().endSequence(),
       {"include/a.c 1000:1 1010:1 1020:1 1070:1 1071:1 1081:1"}, {"1000-1082"}},
      {"opcodes that change no row, and unknown ones, go by the header and by their length",
       Published(BASE_14).setAddress(0x1000).copy().op(10).op(11).uleb(300).uleb(1).op(12, 1).op(13).uleb(1).uleb(1)
           .extended(4, Bytes().uleb(1)).extended(0x80, Bytes().u8(1).u8(1)).u8(0).u8(0).advancePc(1).copy(),
       {"include/a.c 1000:1 1001:1"}, {"1000-1002"}},
      {"known extended opcodes go by their length too",
       Published().setAddress(0x1000).copy().extended(DW_LNE_end_sequence, Bytes().u8(1)).setAddress(0x2000).copy(),
       {"include/a.c 1000:1 2000:1"}, {"1000-1001", "2000-2001"}},
      {"what follows the tables is passed over", Published({.gap = 5}).setAddress(0x1000).copy(),
       {"include/a.c 1000:1"}, {"1000-1001"}},
      {"64-bit format", Published({.version = 3, .is64Bit = true}).setAddress(0x1000).setFile(2).copy(), {"b.c 1000:1"},
       {"1000-1001"}},
      {"file defined on the way",
       Published().setAddress(0x1000).extended(DW_LNE_define_file, Bytes().text("c.c").u8(1).u16(0)).setFile(3).copy(),
       {"include/c.c 1000:1"}, {"1000-1001"}},
      {"files of version 5 count from 0, the register from 1",
       Published({.version = 5, .tables = Tables5()}).setAddress(0x1000).copy().setFile(0).copy().setFile(2).copy()
           .setFile(3).copy().setFile(4).copy(),
       {"sub/s.c 1000:1", "main.c 1000:1", "/root.h 1000:1", "x.h 1000:1", " 1000:1"}, {"1000-1001"}},
      // What follows the first address of a sequence does not bring it back
      {"code that the linker threw away",
       Published().setAddress(0).copy().setAddress(0x500).copy().endSequence().setAddress(1).copy().endSequence()
           .setAddress(0xFFFE, 2).copy().endSequence().setAddress(0xFFFFFFFF).copy().endSequence().copy().endSequence()
           .setAddress(0x1000).copy().setAddress(0).advancePc(2).copy(), {"include/a.c 1000:1 2:1"},
       {"1000-1001", "2-3"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      DescModule* module = Run(order, fact.program);
      EXPECT_EQ(extended, 1) << fact.what << ": " << LastFailure(loader).text;
      EXPECT_EQ(Described(module->lineBlocks), fact.blocks) << fact.what;
      EXPECT_EQ(Listed(module->procs, [](const DescProc& p) { return Hex(p.lowPc) + "-" + Hex(p.highPc); }),
                fact.ranges)
          << fact.what;
    }
  }
  // Code may be at address 0. A unit that names no program has none.
  for (const bool hasLines : {true, false}) {
    const Attrs lines = {{DW_AT_stmt_list, DW_FORM_data4, 0}};
    const Unit unit = Unit().parent(DW_TAG_compile_unit, hasLines ? lines : Attrs{}).end();
    DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, unit)
                                           .segment(PT_LOAD, 0, Bytes().u32(0))
                                           .section(".debug_line", Published().setAddress(0).copy()));
    EXPECT_EQ(extended, 1);
    EXPECT_EQ(Described(module->lineBlocks), hasLines ? Texts{"include/a.c 0:1"} : NO_ROWS);
  }
}

// The rows of a program that cannot be read are lost, the entries of its unit are not.
TEST_F(LinePrograms, AsPublishedAreRefusedWithTheOffset) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const auto withTables = [](uint16_t version, const Bytes& tables) {
    return Published({.version = version, .tables = tables}).copy();
  };
  const auto start = [](uint32_t length, uint16_t version, uint32_t headerLength) {
    return LineProgram({.version = version, .totalLength = length, .prologueLength = headerLength, .label = "program"});
  };
  const char* const TABLES_TOO_LONG = "the tables of a line program are longer than its header_length says";
  const struct {
    LineProgram program;
    const char* reason;
    uint32_t offset;  // from the program on
    const char* section = ".debug_line";
  } facts[] = {
      // clang-format off
      {Published({.version = 1}).copy(), "a line program of version 1 is not known", 4},
      {Published({.version = 6}).copy(), "a line program of version 6 is not known", 4},
      {start(0x100, 2, 20), "a line program goes past the end of the section", 0},
      {start(0xFFFFFFFF, 1, 0).pad(8), "an offset has more than 32 bits", 12},
      {start(0x15, 2, 0x100), "header_length leads past the end of the line program", 6},
      {start(0x14, 2, 1), TABLES_TOO_LONG, 11},
      {Published({.lineRange = 0}).copy(), "line_range is 0", 13},
      {withTables(5, Bytes().u8(0).u8(4).u8(0)), "a table of a line program has entries of no bytes", 32},
      {withTables(5, Bytes().u8(1).u8(9).u8(DW_FORM_data1).u8(9).u32(0)), TABLES_TOO_LONG, 38},
      {withTables(5, Bytes().u8(1).u8(1).u8(0x30).u8(1).u8(1)), "form 0x30 is not known", 34},
      {Published().setAddress(0x1000).op(DW_LNS_advance_pc), "an opcode goes past the end of the line program", 59},
      {Published().u8(0).u8(3).u8(DW_LNE_end_sequence), "a line opcode of 0x3 bytes goes past the end of the program",
       51},
      {Published().setAddress(0, 9), "an address of 9 bytes", 51},
      {Published().extended(DW_LNE_define_file, Bytes().text("c")).pad(9),
       "the operands of a line opcode are longer than its length says", 51},
      {withTables(5, Bytes().u8(0).u8(0).u8(1).u8(1).u8(DW_FORM_line_strp).u8(2).u32(0).u32(99)).setAddress(0x1000)
           .copy(), "a text without end", 99, ".debug_line_str"},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      DescModule* module = Run(order, fact.program);
      EXPECT_EQ(extended, 0) << fact.reason;
      EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE}) << fact.reason;
      const LoaderFailure failure = LastFailure(loader);
      const std::string section = failure.section;
      EXPECT_STREQ(failure.text, fact.reason);
      EXPECT_EQ(section, fact.section) << fact.reason;
      EXPECT_EQ(failure.offset, fact.offset + (section == ".debug_line" ? BEFORE : 0)) << fact.reason;
      EXPECT_EQ(Names(module->vars), Texts{"v"}) << fact.reason;
    }
  }
}

TEST_F(LinePrograms, TakeAddressesOfTheUnitsSize) {
  for (const ByteOrder order : bothOrders) {
    for (const uint8_t size : oddAddressSizes) {
      const auto program =
          LineProgram({.version = 77, .label = "program"}).file("a.c").setAddress(0x81, size).op(0x20).endSequence();
      EXPECT_EQ(Described(Run(order, program, size)->lineBlocks), Texts{"a.c 82:8"}) << int{size};
    }
  }
}

TEST_F(LinePrograms, WithoutRowsThereIsTheDefaultBlock) {
  LineHeader silent = REDUCED;
  silent.defaultIsStmt = 0;
  LineHeader empty = STANDARD;
  empty.totalLength = 0;
  const LineProgram programs[] = {Program(STANDARD).endSequence(), Program(STANDARD).setAddress(0).copy().endSequence(),
                                  Program(silent).copy().op(9), Program(empty)};
  for (const LineProgram& program : programs) {
    DescModule* module = Run(ByteOrder::big, program);
    EXPECT_EQ(extended, 1);
    EXPECT_EQ(Described(module->lineBlocks), NO_ROWS);
    EXPECT_EQ(module->files, nullptr);
  }
  // Without the section too.
  DescModule* module = LoadAndExtend(Dwarf2File(ByteOrder::big, Unit().parent(DW_TAG_compile_unit).end()));
  EXPECT_EQ(extended, 1);
  EXPECT_EQ(Described(module->lineBlocks), NO_ROWS);
}

TEST_F(LinePrograms, BlocksHold256Rows) {
  LineProgram program = Program(LENGTH_1);
  for (int i = 0; i < 600; ++i) program.op(10 + 12 + 4);  // address + 1, line + 1
  DescModule* module = Run(ByteOrder::little, program.endSequence());
  EXPECT_EQ(Listed(module->lineBlocks,
                   [](const DescLineBlock& block) {
                     const int last = block.count - 1;
                     return std::string(block.fileName) + " " + std::to_string(block.count) + " " +
                            Hex(block.addresses[last]) + ":" + std::to_string(block.lines[last]);
                   }),
            (Texts{"a.c 256 1100:257", "a.c 256 1200:513", "a.c 88 1258:601"}));
  EXPECT_EQ(Names(module->procs), Texts{"Line Info from 0x1001 to 0x1259"});
  EXPECT_EQ(Described(module->files), Texts{"a.c"});
}

TEST_F(LinePrograms, BadInputEndsAndKeepsTheRows) {
  LineHeader noRange = STANDARD;
  noRange.lineRange = 0;
  LineHeader tooLong = STANDARD;
  tooLong.totalLength = 0xFFFFFFF0;
  const struct {
    const char* what;
    LineProgram program;
    int extended;
    std::string firstRow;
  } facts[] = {
      {"line_range 0", Program(noRange).copy(), 0, NO_ROWS[0].substr(1)},
      {"length that the file does not hold", Program(tooLong).copy(), -1, "1000:1"},
      {"operand behind the end of the program", Program(STANDARD).copy().op(DW_LNS_advance_pc), 1, "1000:1"},
      {"extended length that the file does not hold", Program(STANDARD).copy().u8(0).uleb(0xFFFFFFFF).u8(0x80), -1,
       "1000:1"},
      {"file name without an end", LineProgram({.label = "program"}).u8(0).pad(20, 'x'), -1, NO_ROWS[0].substr(1)},
  };
  for (const auto& fact : facts) {
    DescModule* module = Run(ByteOrder::big, fact.program);
    ASSERT_NE(module, nullptr) << fact.what;
    const Texts messages = TakeMessages();
    if (fact.extended >= 0) {  // else whether it counts as a failure is open; it must end
      EXPECT_EQ(extended, fact.extended) << fact.what;
    }
    EXPECT_EQ(messages.size(), extended == 1 ? 0u : 1u);
    const std::string block = Describe(*module->lineBlocks);
    EXPECT_EQ(block.substr(block.find(' ') + 1).substr(0, fact.firstRow.size()), fact.firstRow) << fact.what;
  }
}

}  // namespace
