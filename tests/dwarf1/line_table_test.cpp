// Line tables: rows, blocks, positions, files, the range that a fill reports, and what becomes of it.
#include "dwarf1/dwarf1_test.h"

namespace {

class Dwarf1LineTable : public Dwarf1Test {
 protected:
  DescModule* FillLines(const Dwarf1Entries& unit, const Bytes& lines) {
    return Fill(Dwarf1File(GetParam(), unit).section(".line", lines));
  }
};
INSTANTIATE_TEST_SUITE_P(BothOrders, Dwarf1LineTable, testing::ValuesIn(bothOrders), OrderName);

std::vector<LineRow> Rows(uint32_t count) {
  std::vector<LineRow> rows;
  for (uint32_t i = 0; i < count; ++i) rows.push_back({i + 1, 4 * i});
  return rows;
}

// "line@address", with ":position" where the block has positions.
Texts RowTexts(const DescLineBlock* block) {
  Texts texts;
  for (; block != nullptr; block = block->next) {
    for (int32_t i = 0; i < block->count; ++i) {
      texts.push_back(std::to_string(block->lines[i]) + "@" + std::to_string(block->addresses[i]) +
                      (block->columns != nullptr ? ":" + std::to_string(block->columns[i]) : ""));
    }
  }
  return texts;
}

Texts RangeTexts(L_list* ranges) {
  return HostListed<DescLineRange>(
      ranges, [](const DescLineRange& range) { return std::to_string(range.low) + ".." + std::to_string(range.high); });
}

Dwarf1Entries UnitWithLines(const char* label) {
  return Dwarf1Unit({at::name("src/main.c"), at::text(AT_comp_dir, "/prj"), at::stmtList(label)});
}

TEST_P(Dwarf1LineTable, RowsPositionsAndRange) {
  const Bytes lines = LineTable("lines", 0x1000, {{7, 8}, {8, 0, 5}, {9, 4}, {0, 0xFFFFF000, 0}, {99, 99}});
  const DescModule* module = FillLines(UnitWithLines("lines"), Joined(Bytes().pad(3), lines));
  EXPECT_EQ(RowTexts(module->lineBlocks), (Texts{"7@4104:0", "8@4096:5", "9@4100:0", "0@0:0"}));
  EXPECT_EQ(RangeTexts(ranges), (Texts{"0..4104"}));
  ASSERT_NE(module->files, nullptr);
  EXPECT_STREQ(module->files->fullName, "/prj/src/main.c");
  EXPECT_STREQ(module->files->baseName, "main.c");
  EXPECT_STREQ(module->lineBlocks->fileName, "/prj/src/main.c");
}

TEST_P(Dwarf1LineTable, LengthsAndBlocks) {
  const struct {
    const char* what;
    uint32_t length, rows;
    std::vector<int32_t> blocks;  // rows of each
    bool hasFile = true;
  } facts[] = {
      {"header alone", 8, 5, {}},
      {"one row", 28, 5, {1}},
      {"cut to whole rows", 33, 5, {1}},
      {"negative length", 0x80000000, 5, {}},
      {"1024 rows", 10258, 1025, {1024}},
      {"1025 rows", 10268, 1026, {1024, 1}},
      {"longer than the section", 62, 5, {}, false},
  };
  for (const auto& fact : facts) {
    SCOPED_TRACE(fact.what);
    std::vector<LineRow> rows = Rows(fact.rows);
    rows[0].position = 3;
    const DescModule* module = FillLines(UnitWithLines("lines"), LineTable("lines", 0, rows, fact.length));
    std::vector<int32_t> blocks;
    for (const DescLineBlock* block = module->lineBlocks; block != nullptr; block = block->next) {
      EXPECT_EQ(block->lines[0], 1024 * blocks.size() + 1);
      EXPECT_EQ(block->columns != nullptr, blocks.empty()) << "each block for itself";
      EXPECT_TRUE(block->columns == nullptr || block->columns[0] == 3);
      blocks.push_back(block->count);
    }
    EXPECT_EQ(blocks, fact.blocks);
    EXPECT_EQ(module->files != nullptr, fact.hasFile);
    EXPECT_EQ(L_First(ranges) != nullptr, !blocks.empty());
    EXPECT_EQ(filled, 1) << reason;
  }
}

TEST_P(Dwarf1LineTable, MissingTables) {
  const DescModule* module = Fill(Dwarf1Unit({at::name("a.c")}));
  EXPECT_EQ(module->files, nullptr);
  EXPECT_EQ(module->lineBlocks, nullptr);
  EXPECT_EQ(filled, 1);

  // Without AT_stmt_list it is the table at the start of the section.
  module = FillLines(Dwarf1Unit({at::name("a.c")}), LineTable("", 0, Rows(3)));
  EXPECT_EQ(RowTexts(module->lineBlocks), (Texts{"1@0", "2@4"}));
  EXPECT_EQ(module->files->baseName, module->files->fullName);

  // A section that claims more than the file has: what is there is read.
  ElfFile claims = Dwarf1File(GetParam(), Dwarf1Unit({at::name("a.c")}));
  claims.section(".line", LineTable("", 0, Rows(3), 0x7FFFFFFF)).set(&ElfSectionHeader::sh_size, 0x7FFFFFFF);
  module = Fill(claims);
  EXPECT_EQ(filled, 0);
  EXPECT_EQ(reason, "the file ends in the line table");
  EXPECT_GE(module->lineBlocks->count, 3);
}

TEST_P(Dwarf1LineTable, MergedUnitsKeepTheirFilesAndBlocks) {
  const Bytes lines = Joined(LineTable("1", 100, Rows(2)), LineTable("2", 200, Rows(2)), LineTable("3", 300, Rows(2)));
  const DescModule* module =
      Fill(Dwarf1File(GetParam(), UnitWithLines("1"), UnitWithLines("2"), UnitWithLines("3")).section(".line", lines));
  EXPECT_EQ(RowTexts(module->lineBlocks), (Texts{"1@100", "1@300", "1@200"}));
  EXPECT_EQ(RangeTexts(ranges), (Texts{"300..300", "200..200", "100..100"}));
  EXPECT_EQ(Listed(module->files, [](const DescFile& file) -> std::string { return file.fullName; }),
            Texts(3, "/prj/src/main.c"));
  EXPECT_EQ(module->ext->mergedModules->files, nullptr);
  EXPECT_EQ(module->ext->mergedModules->lineBlocks, nullptr);
}

}  // namespace
