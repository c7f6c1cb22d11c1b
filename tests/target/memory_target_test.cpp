// The memory target, its regions and files, and where segments go.
#include "target/memory_target.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/bytes.h"
#include "support/temp_folder.h"
#include "target/download_monitor.h"
#include "target/memory_output.h"
#include "terminal/progress_bar.h"

namespace elfload {
namespace {

using Texts = std::vector<std::string>;

int Write(Target& target, uint32_t address, const RawBytes& bytes) {
  return target.WriteBlock({address}, bytes.data(), static_cast<uint32_t>(bytes.size()), 2);
}

TEST(RegionMap, TakesRangesAndRefusesNonsense) {
  MemoryRegion region;
  std::string error;
  for (const auto& [text, expected] : {std::pair{"0x8000-0xFFFF:rx", "0x00008000-0x0000FFFF:rx"},
                                       {"0-4294967295", "0x00000000-0xFFFFFFFF:rwx"},
                                       {"16-16:w", "0x00000010-0x00000010:w"},
                                       {"0x0-0xffffffff:xwr", "0x00000000-0xFFFFFFFF:rwx"}}) {
    EXPECT_TRUE(ParseRegion(text, region, error)) << text;
    EXPECT_EQ(DescribeRegion(region), expected);
  }
  for (const char* wrong : {"0x10-0xF", "0-0x100000000", "0x8000", "0-1:", "0-1:rq", "-1", "a-b", ""}) {
    EXPECT_FALSE(ParseRegion(wrong, region, error)) << wrong;
  }
}

TEST(RegionMap, WantsRangesWhollyInsideAndWritableWhereTheyMustBe) {
  RegionMap map;
  std::string text;
  EXPECT_TRUE(map.Check(0, UINT32_MAX, true, text)) << "no regions, no opinion";
  for (const char* range : {"0x2000-0x2FFF:rw", "0x1000-0x1FFF:rx", "0xFFFF0000-0xFFFFFFFF:rw", "0x4000-0x4FFF:rw"}) {
    MemoryRegion region;
    ASSERT_TRUE(ParseRegion(range, region, text) && map.Add(region, text));
  }
  MemoryRegion other;
  for (const char* range : {"0x2FFF-0x3000", "0-0xFFFFFFFF", "0x1800-0x1801", "0-0x1000"}) {
    EXPECT_TRUE(ParseRegion(range, other, text) && !map.Add(other, text)) << range;
    EXPECT_NE(text.find("overlaps"), std::string::npos);
  }
  const struct {
    uint32_t first, last;
    bool writable;
    const char* reason;  // empty: taken
  } rows[] = {
      {0x1000, 0x2FFF, false, ""},  // neighbours count as one
      {0x1000, 0x2FFF, true, "the segment is writable, the memory 0x00001000-0x00001FFF:rx is not"},
      {0x2000, 0x2FFF, true, ""},
      {0x2000, 0x3000, true, "there is no memory at 0x00003000"},
      {0x3FFF, 0x4000, false, "there is no memory at 0x00003FFF"},
      {0x2800, 0x4800, false, "there is no memory at 0x00003000"},
      {0xFFFFFFFF, 0xFFFFFFFF, true, ""},
      {0xFFFFFFFF, 0, true, "the range runs over the end of the address space"},
  };
  for (const auto& row : rows) {
    text.clear();
    EXPECT_EQ(map.Check(row.first, row.last, row.writable, text), *row.reason == 0);
    EXPECT_EQ(text, row.reason);
  }
}

TEST(MemoryTarget, HoldsWhatWasWrittenAndNothingElse) {
  MemoryTarget memory;
  EXPECT_EQ(Write(memory, 0xFFF, {1, 2, 3}), 1);
  EXPECT_EQ(Write(memory, 0xFFFFFFFF, {4}), 1);
  EXPECT_EQ(Write(memory, 0xFFFFFFFF, {4, 5}), 0);  // over the end
  EXPECT_EQ(Write(memory, 0x10, {6}), 1);
  EXPECT_EQ(Write(memory, 0x1001, {7, 8}), 1);
  Texts ranges;
  for (const AddressRange& range : memory.Written()) ranges.push_back(DescribeRange(range.first, range.last));
  EXPECT_EQ(ranges, (Texts{"0x00000010-0x00000010", "0x00000FFF-0x00001002", "0xFFFFFFFF-0xFFFFFFFF"}));
  uint8_t bytes[4] = {};
  EXPECT_EQ(memory.ReadBlock({0xFFF}, bytes, 4, 2), 1);
  EXPECT_EQ(RawBytes(bytes, bytes + 4), (RawBytes{1, 2, 7, 8}));
  EXPECT_EQ(memory.ReadBlock({0xFFE}, bytes, 4, 2), 0);
  EXPECT_EQ(memory.ReadBlock({0x1000}, bytes, 4, 2), 0);
  EXPECT_EQ(memory.Reason(), "nothing was written to all of 0x00001000-0x00001003");
}

// Sums of the lines were checked with objcopy, which reads the files back to the same bytes.
TEST(MemoryOutput, WritesEachFormat) {
  const std::string path = TempFolder::OfProcess().Path("out");
  const struct {
    std::vector<std::pair<uint32_t, RawBytes>> blocks;
    MemoryFormat format;
    std::string text;
  } rows[] = {
      // clang-format off
      {{{0x1FFFE, {1, 2, 3}}}, MemoryFormat::hex, ":020000040001F9\r\n:02FFFE000102FE\r\n:020000040002F8\r\n"
       ":0100000003FC\r\n:0400000500000010E7\r\n:00000001FF\r\n"},
      {{{0xFFFE, {1, 2}}}, MemoryFormat::srec, "S00600006F7574A1\r\nS105FFFE0102FA\r\nS9030010EC\r\n"},
      {{{0xFFFE, {1, 2, 3}}}, MemoryFormat::srec, "S00600006F7574A1\r\nS20700FFFE010203F5\r\nS804000010EB\r\n"},
      {{{0xFFFFFFFF, {9}}}, MemoryFormat::srec, "S00600006F7574A1\r\nS306FFFFFFFF09F4\r\nS70500000010EA\r\n"},
      {{{0x20, {9}}, {0x10, {1, 2}}}, MemoryFormat::bin, std::string("\x01\x02", 2) + std::string(14, '\0') + "\x09"},
      {{}, MemoryFormat::bin, ""},
      {{}, MemoryFormat::hex, ":0400000500000010E7\r\n:00000001FF\r\n"},
      // clang-format on
  };
  for (const auto& row : rows) {
    MemoryTarget memory;
    for (const auto& [address, bytes] : row.blocks) ASSERT_EQ(Write(memory, address, bytes), 1);
    memory.SetStartAddress(0x10);
    std::string error;
    ASSERT_TRUE(WriteMemoryFile(path, row.format, memory, {}, error)) << error;
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    EXPECT_EQ(text.str(), row.text);
  }
}

TEST(MemoryOutput, RefusesGapsAndNamesTheSizes) {
  const std::string path = TempFolder::OfProcess().Path("gaps.bin");
  std::string error;
  MemoryTarget memory;
  Write(memory, 0, {1});
  Write(memory, 0x3FFFFFF, {1});
  EXPECT_TRUE(WriteMemoryFile(path, MemoryFormat::bin, memory, {}, error)) << "64 MiB";
  Write(memory, 0x4000000, {1});
  EXPECT_FALSE(WriteMemoryFile(path, MemoryFormat::bin, memory, {}, error));
  EXPECT_EQ(error,
            "3 bytes between 0x00000000 and 0x04000000 would make a raw file of 67108865 bytes with its gaps, above "
            "67108864; --fill-gaps writes it all the same");
  EXPECT_TRUE(WriteMemoryFile(path, MemoryFormat::bin, memory, {.fillGaps = true}, error));
  EXPECT_EQ(std::filesystem::file_size(path), 67108865u);
  EXPECT_FALSE(WriteMemoryFile(path + "/no", MemoryFormat::hex, memory, {}, error));
  EXPECT_EQ(MemoryFormatOf("a.b/x.S37"), MemoryFormat::srec);
  EXPECT_EQ(MemoryFormatOf("a.hex/x"), std::nullopt);
}

// Addresses (virtual, physical) and sizes (in the file, in memory).
ElfSegment Header(uint32_t type, uint32_t vaddr, uint32_t paddr, uint32_t filesz, uint32_t memsz, uint32_t flags) {
  return {type, 0, vaddr, paddr, filesz, memsz, flags, 1};
}

// Two overlays at one virtual address, and data that is only stored where it goes.
TEST(DownloadMonitor, MovesBlocksByTheirOrder) {
  RegionMap flash;
  std::string error;
  flash.Add({.first = 0x8000, .last = 0x9FFF, .writable = false}, error);
  MemoryTarget memory(flash);
  DownloadMonitor monitor(memory,
                          SegmentsToLoad({Header(SEGMENT_LOAD, 0x100, 0x8000, 520, 0x4000, SEGMENT_WRITABLE),
                                          Header(SEGMENT_LOAD, 0x900, 0xFFFFF000, 0, 64, SEGMENT_WRITABLE),
                                          Header(SEGMENT_LOAD, 0x100, 0x9000, 2, 2, SEGMENT_WRITABLE)},
                                         Placement::physicalAddress),
                          false);
  EXPECT_EQ(monitor.CheckMemory(0x100, 0x40FF, "", TARGET_WRITABLE), 1);
  EXPECT_EQ(monitor.CheckMemory(0x900, 0x93F, "", TARGET_WRITABLE), 1);
  EXPECT_EQ(monitor.CheckMemory(0x100, 0x101, "", TARGET_WRITABLE), 1);
  uint8_t back[8] = {};
  EXPECT_EQ(Write(monitor, 0x100, RawBytes(512, 1)), 1);
  EXPECT_EQ(monitor.ReadBlock({0x100}, back, 4, 2), 1);
  EXPECT_EQ(Write(monitor, 0x300, RawBytes(8, 2)), 1);
  EXPECT_EQ(Write(monitor, 0x100, {3, 4}), 1);
  EXPECT_EQ(monitor.ReadBlock({0x100}, back, 2, 2), 1);
  EXPECT_EQ(back[1], 4);
  EXPECT_EQ(monitor.FindDifference(0x101)->address, 0x9001u);
  EXPECT_EQ(monitor.FindDifference(0x102), std::nullopt);
  EXPECT_EQ(memory.Written().size(), 2u);
  EXPECT_EQ(memory.Written()[0].last, 0x8207u);
  EXPECT_EQ(monitor.Bytes(), 522u);
  EXPECT_EQ(monitor.Blocks(), 3u);
  EXPECT_EQ(monitor.VerifiedBytes(), 4u);
  EXPECT_EQ(Write(monitor, 0x102, {5}), 0) << "the file has no such block";

  // More bytes in the file than in memory would go past what is checked.
  DownloadMonitor wrong(
      memory, SegmentsToLoad({Header(SEGMENT_LOAD, 0x8000, 0x8000, 9, 8, SEGMENT_READABLE)}, Placement::virtualAddress),
      false);
  EXPECT_EQ(wrong.CheckMemory(0x8000, 0x8007, "", TARGET_READ_ONLY), 0);
  EXPECT_EQ(wrong.Failure().reason, "more bytes in the file than in memory");
}

TEST(ProgressBar, ShowsPartSizeRateAndTimeLeft) {
  EXPECT_EQ(DrawProgressBar({.done = 512 << 10, .total = 2 << 20, .seconds = 2}),
            "[#######                       ]  25%  512.0 KiB of 2.0 MiB  256.0 KiB/s  0:06 left");
  EXPECT_EQ(DrawProgressBar({}), "[##############################] 100%  0 B of 0 B  0 B/s");
  EXPECT_EQ(ProgressJson({.done = 5, .total = 10, .seconds = 0.5}),
            R"({"done":5,"total":10,"seconds":0.500,"bytesPerSecond":10})");
}

}  // namespace
}  // namespace elfload
