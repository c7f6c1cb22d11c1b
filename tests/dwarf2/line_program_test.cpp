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
  DescModule* Run(ByteOrder order, const LineProgram& program, uint8_t addressSize = 4, Attrs attrs = {}) {
    attrs.emplace_back(DW_AT_stmt_list, DW_FORM_data4, "program");
    const Unit unit = Unit({.addressSize = addressSize}).parent(DW_TAG_compile_unit, attrs).end();
    return LoadAndExtend(Dwarf2File(order, unit).section(".debug_line", Bytes().pad(3, 0xEE), program));
  }
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

// The published rules, which a host can ask for: no row and no line step for const_add_pc, an unscaled operand of
// fixed_advance_pc, addresses as long as their opcode says, and address 0 where the unit has code there.
TEST_F(LinePrograms, ActAsPublishedOnRequest) {
  const EnvironmentValue published("DWARFRULES", "PUBLISHED");
  const struct {
    LineProgram program;
    Attrs unit;
    Texts blocks;
  } facts[] = {
      {Program(STANDARD).op(DW_LNS_const_add_pc).copy().fixedAdvancePc(3).copy(), {}, {"a.c 1028:1 102b:1"}},
      {Program(STANDARD).setAddress(0x2000, 2).copy().setAddress(0x3000, 8).copy(), {}, {"a.c 2000:1 3000:1"}},
      {Program(STANDARD).setAddress(0).copy().advancePc(1).copy(), {Low(0), High(0x10)}, {"a.c 0:1 2:1"}},
      {Program(STANDARD).setAddress(0).copy(), {Low(2), High(0x10)}, NO_ROWS},
      {Program(STANDARD).setAddress(0).copy(), {}, NO_ROWS},
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      EXPECT_EQ(Described(Run(order, fact.program, 4, fact.unit)->lineBlocks), fact.blocks);
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
