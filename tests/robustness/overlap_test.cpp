// Files whose parts are read over and over: what they can ask for ends at a multiple of their size.
#include <gtest/gtest.h>

#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"

namespace {

// Units of variables, all of which have one location list, one line program and one table of abbreviations; the names
// are tails of one string.
struct Shape {
  const char* what;
  int units = 1;
  int variables = 0;  // of each unit
  uint32_t textLength = 0;
  int locations = 0;
  int lineOpcodes = 0;
  int declarations = 0;  // beside those in use
  uint32_t code = 2;     // of a variable: a small one is found at once, the others along a chain
};

constexpr uint32_t CHAIN = 71;  // codes that far apart share a bucket

RawBytes Build(const Shape& shape) {
  Abbrevs abbrevs;
  abbrevs.abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes).attr(DW_AT_stmt_list, DW_FORM_data4);
  abbrevs.abbrev(shape.code, DW_TAG_variable, DW_CHILDREN_no);
  abbrevs.attr(DW_AT_name, DW_FORM_strp).attr(DW_AT_location, DW_FORM_data4);
  for (int i = 1; i <= shape.declarations; ++i) {
    abbrevs.abbrev(shape.code + CHAIN * static_cast<uint32_t>(i), DW_TAG_variable, DW_CHILDREN_no);
  }
  Bytes info;
  for (int i = 0; i < shape.units; ++i) {
    Unit unit;
    unit.entry(1).u32(0);
    for (int k = 0; k < shape.variables; ++k) {
      unit.entry(shape.code).u32(shape.textLength > 0 ? static_cast<uint32_t>(k) : 0).u32(0);
    }
    info.raw(unit.end().In(ByteOrder::big));
  }
  LocationList list;
  for (int i = 0; i < shape.locations; ++i) {
    list.range(1, 2, {DW_OP_addr});
  }
  LineProgram lines;
  lines.setAddress(0x100);
  for (int i = 0; i < shape.lineOpcodes; ++i) {
    lines.op(0x20);
  }
  return ElfFile(ByteOrder::big)
      .section(".debug_info", info)
      .section(".debug_abbrev", abbrevs)
      .section(".debug_str", Bytes().text(std::string(shape.textLength, 'x')))
      .section(".debug_loc", list.end())
      .section(".debug_line", lines.endSequence())
      .build();
}

using Overlap = HostTest;

TEST_F(Overlap, IsPaidForByTheFilesSize) {
  const Shape shapes[] = {
      {.what = "tails of one string", .variables = 10000, .textLength = 200000},
      {.what = "one location list", .variables = 10000, .locations = 10000},
      {.what = "one line program", .units = 3000, .lineOpcodes = 60000},
      {.what = "one table of abbreviations", .units = 3000, .declarations = 10000},
      {.what = "one chain of a bucket", .variables = 20000, .declarations = 20000, .code = 1000000},
      {.what = "units of hardly a byte", .units = 100000},
  };
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.what);
    const RawBytes bytes = Build(shape);
    size_t used = 0;
    int failed = 0;
    DescModule* first = LoadPath(TempFolder::OfProcess().Write("overlap.elf", bytes));
    for (DescModule* module = first; module != nullptr; module = module->next) {
      failed += loader.Extend(module, SYM_LOAD_ALL) == 0 ? 1 : 0;
      used += HEAP_BytesUsed(module->heap);
    }
    EXPECT_TRUE(built == 0 || failed != 0);
    EXPECT_STREQ(dwarf2State.failure, "parts of the file are read over and over");
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    EXPECT_LT(used, 100 * bytes.size() + (16U << 20));
    table.Reset(nullptr);
  }
}

// Each of so many ranges of line rows touches each of so many procedures.
TEST_F(Overlap, OfRangesAndProceduresEnds) {
  constexpr uint32_t PROCEDURES = 20000;
  Unit unit = Unit().parent(DW_TAG_compile_unit, {{DW_AT_stmt_list, DW_FORM_data4, 0}});
  for (uint32_t i = 1; i <= PROCEDURES; ++i) {
    unit.child(DW_TAG_subprogram, {Low(2 * i), High(2 * i + 1)});
  }
  LineProgram lines;
  for (int range = 0; range < 1000; ++range) {
    lines.setAddress(1).copy();
    for (uint32_t i = 0; i < 2 * PROCEDURES / 250; ++i) {
      lines.advancePc(250).copy();
    }
  }
  const DescModule* module =
      LoadAndExtend(Dwarf2File(ByteOrder::big, unit.end()).section(".debug_line", lines.endSequence()));
  EXPECT_EQ(extended, 0);
  EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
  EXPECT_EQ(Names(module->procs).size(), 2 * PROCEDURES + 1) << "the first range covers all";
  EXPECT_NE(module->lineBlocks, nullptr);
}

}  // namespace
