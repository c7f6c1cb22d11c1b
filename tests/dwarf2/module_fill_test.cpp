// The fill of one module: the order of labels and procedures, where references count from, and what ends the walk.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "support/describe.h"
#include "support/dwarf2_builder.h"
#include "tarnixcore/files.h"

namespace {

class ModuleFill : public HostTest {};

TEST_F(ModuleFill, PutsLabelsByAddressInFrontOfTheProcedures) {
  const struct {
    const char* what;
    uint32_t moduleEnd;
    std::vector<std::pair<uint32_t, uint32_t>> labels;  // low and high, 0 for none, in file order
    Texts expected;
  } facts[] = {
      // clang-format off
      {"an end of the module gives way to the next label", 0x300, {{0x100, 0}, {0x200, 0}}, {" 100-200", " 200-300"}},
      {"three", 0x300, {{0x100, 0}, {0x180, 0}, {0x200, 0}}, {" 100-180", " 180-200", " 200-300"}},
      {"in front of the chain", 0x300, {{0x200, 0}, {0x100, 0}}, {" 100-0", " 200-300"}},
      {"between", 0x300, {{0x200, 0}, {0x100, 0}, {0x180, 0}}, {" 100-180", " 180-200", " 200-300"}},
      {"an end from the file stands", 0x300, {{0x100, 0x300}, {0x200, 0x210}}, {" 100-300", " 200-210"}},
      {"an end from a neighbour stands", 0x300, {{0x100, 0}, {0x200, 0}, {0x180, 0}}, {" 100-200", " 180-200",
       " 200-300"}},
      {"of equal ones the later comes first", 0x300, {{0x100, 0x101}, {0x100, 0x102}}, {" 100-102", " 100-101"}},
      {"equal to the last", 0x300, {{0x100, 0}, {0x200, 0}, {0x200, 0}}, {" 100-200", " 200-200", " 200-300"}},
      {"no end of the module", 0, {{0x100, 0}, {0x200, 0}}, {" 100-200", " 200-0"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    Unit unit = Unit().parent(DW_TAG_compile_unit, {Low(0x100), High(fact.moduleEnd)});
    unit.child(DW_TAG_subprogram, {Name("p"), Low(0x500), High(0x510)});
    for (const auto& [low, high] : fact.labels) {
      unit.child(DW_TAG_label, {Low(low), High(high), {DW_AT_segment, DW_FORM_data2, 0x1234}});
    }
    unit.child(DW_TAG_subprogram, {Name("q"), Low(0x400), High(0x410)}).end();
    Texts expected = fact.expected;
    expected.insert(expected.end(), {"p 500-510", "q 400-410"});
    for (const ByteOrder order : bothOrders) {
      const DescModule* module = LoadAndExtend(Dwarf2File(order, unit));
      EXPECT_EQ(Described(module->procs), expected) << fact.what;
      EXPECT_STREQ(module->procs->returnType->name, "undefined");
      EXPECT_EQ(module->procs->segment, 0x34);
    }
  }
}

// Unit-relative references count from the unit, unless the line program read last is of the reduced variant. The
// choice outlives the module: a unit without a line program of its own goes by the one before it.
TEST_F(ModuleFill, UnitBaseGoesByTheLineProgramReadLast) {
  Unit unit = Unit().parent(DW_TAG_compile_unit);
  unit.child(DW_TAG_variable, {Name("x"), {DW_AT_type, DW_FORM_ref4, 0x40}});
  unit.child(DW_TAG_variable, {Name("y"), {DW_AT_type, DW_FORM_ref_addr, 0x41}}).end();
  const LineHeader headers[] = {{}, {.opcodeBase = 9, .standardOpcodeLengths = RawBytes(9)}};
  for (const ByteOrder order : bothOrders) {
    for (const LineHeader& header : headers) {
      ElfFile file = Dwarf2File(order, unit, unit);
      const ElfFile silent = file;
      for (const ElfFile& each : {file.section(".debug_line", LineProgram(header)), silent}) {
        const DescModule* second = LoadAndExtend(each)->next;
        const uint32_t unitBase = header.opcodeBase > 9 ? unit.size() : 0;
        EXPECT_EQ(Find(second->vars, "x")->type->key, unitBase + 0x40);
        EXPECT_EQ(Find(second->vars, "y")->type->key, 0x41u);
      }
    }
  }
}

TEST_F(ModuleFill, EndsWhereTheEntriesEnd) {
  const auto one = [] { return Unit().parent(DW_TAG_compile_unit).child(DW_TAG_variable, {Name("one")}); };
  const struct {
    const char* what;
    Unit unit;
    int extended;
    Texts vars;
  } facts[] = {
      // clang-format off
      {"null entry", one().end().child(DW_TAG_variable, {Name("two")}), 1, {"one"}},
      {"over-long code", one().pad(12, 0x80).child(DW_TAG_variable, {Name("two")}), 1, {"one"}},
      {"code that the table lacks", one().entry(99).child(DW_TAG_variable, {Name("two")}).end(), 0, {"one"}},
      {"form that a constant cannot have",
       one().child(DW_TAG_variable, {Name("bad"), {DW_AT_segment, DW_FORM_string, "x"}})
           .child(DW_TAG_variable, {Name("two")}).end(), 0, {"one", "bad"}},
      {"unknown form", one().child(DW_TAG_variable, {Name("bad"), {0x2001, 0x55, 1}}).end(), 0, {"one", "bad"}},
      {"string without .debug_str", one().child(DW_TAG_variable, {{DW_AT_name, DW_FORM_strp, 1}}).end(), 0, {"one",
       ""}},
      {"block that the file cannot back",
       one().child(DW_TAG_variable, {Name("bad"), {DW_AT_location, DW_FORM_block4, 0x7FFFFFFF}}), 0, {"one", "bad"}},
      {"block whose length leads back",
       one().child(DW_TAG_variable, {{0x2001, DW_FORM_data4, 0}, {0x2002, DW_FORM_block4, 0xFFFFFFF0}, Name("bad")}), 0,
       {"one"}},
      // clang-format on
  };
  for (const auto& fact : facts) {
    for (const ByteOrder order : bothOrders) {
      const DescModule* module = LoadAndExtend(Dwarf2File(order, fact.unit));
      ASSERT_NE(module, nullptr) << fact.what;
      EXPECT_EQ(extended, fact.extended) << fact.what;
      EXPECT_EQ(TakeMessages(), extended == 1 ? Texts{} : Texts{ERROR_IN_OBJECT_FILE}) << fact.what;
      Texts vars = Names(module->vars);
      vars.resize(std::min(vars.size(), fact.vars.size()));  // what stands behind a broken record is open
      EXPECT_EQ(vars, fact.vars) << fact.what;
      EXPECT_EQ(module->loadedKinds, 7u);
    }
  }
}

// A fill takes nothing from the one before: not its latch, not its address size, not its abbreviations.
TEST_F(ModuleFill, StateDoesNotLeakFromUnitToUnit) {
  const Unit failing = Unit().parent(DW_TAG_compile_unit).entry(99);
  Unit narrow = Unit({.addressSize = 2}).parent(DW_TAG_compile_unit);
  narrow.child(DW_TAG_subprogram, {Low(0x1234), High(0x2345), Name("narrow")}).end();
  Unit wide = Unit().parent(DW_TAG_compile_unit, {Name("w.c")});
  wide.child(DW_TAG_subprogram, {Name("wide"), Low(0x12345678), High(0x23456789)}).end();
  for (const ByteOrder order : bothOrders) {
    DescModule* module = LoadAndExtend(Dwarf2File(order, failing, narrow, failing, wide));
    EXPECT_EQ(extended, 2);
    EXPECT_EQ(TakeMessages(), Texts{ERROR_IN_OBJECT_FILE});
    EXPECT_EQ(Described(module->next->procs), Texts{"narrow 1234-2345"});
    EXPECT_EQ(Described(module->next->next->next->procs), Texts{"wide 12345678-23456789"});
  }
}

TEST_F(ModuleFill, WarnsOfAYoungerSource) {
  const TempFolder& folder = TempFolder::OfProcess();
  folder.Write("young/dated.c", {'x'});
  std::filesystem::last_write_time(folder.Path("young/dated.c"),
                                   std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  FE_SetPathList(FE_SOURCES, folder.Path("young").c_str());
  const Unit unit = Unit().parent(DW_TAG_compile_unit).end();
  LoadAndExtend(Dwarf2File(ByteOrder::big, unit, unit)
                    .section(".debug_line", LineProgram().file("src/dated.c").setAddress(1).copy().endSequence()));
  FE_SetPathList(FE_SOURCES, nullptr);
  const Texts messages = TakeMessages();
  ASSERT_EQ(messages.size(), 2u) << "once per fill";
  EXPECT_NE(messages[0].find("<dated.c>"), std::string::npos) << "by its base name";
}

}  // namespace
