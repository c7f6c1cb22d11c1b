// Files whose parts are read over and over: the memory that they can ask for ends at a multiple of their size.
#include <gtest/gtest.h>

#include "support/dwarf2_builder.h"
#include "support/host_fixture.h"

namespace {

// Units of variables, all of which share one location list, one line program and one table of abbreviations.
struct Shape {
  const char* what;
  bool fails = true;
  int units = 1;
  int variables = 0;  // of each unit
  int locations = 0;
  int lineOpcodes = 0;
  uint32_t declarations = 0;  // beside those in use
};

RawBytes Build(const Shape& shape) {
  Abbrevs abbrevs;
  abbrevs.abbrev(1, DW_TAG_compile_unit, DW_CHILDREN_yes).attr(DW_AT_stmt_list, DW_FORM_data4);
  abbrevs.abbrev(2, DW_TAG_variable, DW_CHILDREN_no).attr(DW_AT_location, DW_FORM_data4);
  for (uint32_t code = 3; code < 3 + shape.declarations; ++code) abbrevs.abbrev(code, DW_TAG_variable, DW_CHILDREN_no);
  Bytes info;
  for (int i = 0; i < shape.units; ++i) {
    Unit unit;
    unit.entry(1).u32(0);
    for (int k = 0; k < shape.variables; ++k) unit.entry(2).u32(0);
    info.raw(unit.end().In(ByteOrder::big));
  }
  LocationList list;
  for (int i = 0; i < shape.locations; ++i) list.range(1, 2, {DW_OP_addr});
  LineProgram lines;
  lines.setAddress(0x100);
  for (int i = 0; i < shape.lineOpcodes; ++i) lines.op(0x20);
  return ElfFile(ByteOrder::big)
      .section(".debug_info", info)
      .section(".debug_abbrev", abbrevs)
      .section(".debug_loc", list.end())
      .section(".debug_line", lines.endSequence())
      .build();
}

using Overlap = HostTest;

TEST_F(Overlap, IsPaidForByTheFilesSize) {
  const Shape shapes[] = {
      {.what = "one location list", .variables = 10000, .locations = 10000},
      {.what = "one line program", .units = 3000, .lineOpcodes = 60000},
      {.what = "one table of abbreviations", .units = 3000, .declarations = 10000},
      {.what = "units of hardly a byte", .fails = false, .units = 10000},
  };
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.what);
    const RawBytes bytes = Build(shape);
    size_t used = 0;
    int failed = 0;
    opened = loader.OpenMemory("overlap.elf", bytes.data(), bytes.size());
    built = loader.Build(&table);
    for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
      failed += loader.Extend(module, SYM_LOAD_ALL) == 0 ? 1 : 0;
      used += HEAP_BytesUsed(module->heap);
    }
    used += HEAP_BytesUsed(table.Heap());
    EXPECT_EQ(built == 0 || failed != 0, shape.fails);
    EXPECT_EQ(LastFailure(loader).text[0] != 0, shape.fails);
    EXPECT_EQ(TakeMessages(), shape.fails ? Texts{ERROR_IN_OBJECT_FILE} : Texts{});
    EXPECT_LT(used, 200 * bytes.size() + (16U << 20));
    table.Reset(nullptr);
  }
}

}  // namespace
