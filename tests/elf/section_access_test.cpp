// Reads of the open image: sections by name, numbers in either byte order, what lies behind the end, and the stream's
// blocks.
#include "elf/section_access.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/elf_file.h"

namespace {

// The number read by `read`, which succeeds.
template <class Read>
uint32_t Number(ElfImage* image, Read read) {
  uint32_t value = 0;
  EXPECT_EQ(read(image, &value), 1);
  return value;
}
uint32_t Read16(ElfImage* image) { return Number(image, ELF_Read16); }
uint32_t Read32(ElfImage* image) { return Number(image, ELF_Read32); }

TEST(SectionAccess, FindsTheFirstSectionOfAName) {
  for (const ByteOrder order : bothOrders) {
    ElfFile file = ElfFile(order).section(".a", Bytes().u16(0x1234).u32(0x89ABCDEF).u8(7)).section(".empty");
    const OpenedImage image = file.section(".a", Bytes().pad(99)).section(".A", Bytes().pad(3)).open();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(ELF_SectionSize(image, ".a"), 7u);
    EXPECT_EQ(ELF_SectionSize(image, ".A"), 3u);
    EXPECT_EQ(ELF_SectionSize(image, ".empty"), 0u);
    EXPECT_EQ(ELF_SectionSize(image, ".missing"), 0u);
    EXPECT_EQ(ELF_SectionPos(image, ".missing"), -1);
    EXPECT_EQ(ELF_SeekSection(image, 0, ".empty"), 1);
    EXPECT_EQ(ELF_SeekSection(image, 0, ".missing"), 0);

    ASSERT_EQ(ELF_SeekSection(image, 0, ".a"), 1);
    EXPECT_EQ(Read16(image), 0x1234u);
    EXPECT_EQ(Read32(image), 0x89ABCDEFu);
    EXPECT_EQ(ELF_SectionPos(image, ".a"), 6);
    uint8_t byte = 0;
    EXPECT_EQ(ELF_ReadByte(image, &byte), 1);
    EXPECT_EQ(byte, 7);
    ASSERT_EQ(ELF_SeekSection(image, 5000, ".a"), 1);  // not tested against the section's size
    EXPECT_EQ(ELF_SectionPos(image, ".a"), 5000);
    EXPECT_EQ(ELF_Skip(image, -4998), 1);
    EXPECT_EQ(Read32(image), 0x89ABCDEFu);
  }
}

TEST(SectionAccess, BytesBehindTheEndAreFF) {
  for (const ByteOrder order : bothOrders) {
    const ElfFile file = ElfFile(order).section(".a", Bytes().u8(1));
    const OpenedImage image = file.open();
    const auto size = static_cast<uint32_t>(file.build().size());
    const uint32_t start = image->sectionHeaders[1].sh_offset;
    for (const uint32_t offset : {size - start, size - start + 1000000, 0xFFFFFFFF}) {
      ASSERT_EQ(ELF_SeekSection(image, offset, ".a"), 1);
      EXPECT_EQ(Read16(image), 0xFFFFu);
      EXPECT_EQ(Read32(image), 0xFFFFFFFFu);
      EXPECT_EQ(ELF_BytesLeft(image), 0u);
    }
    // Half of the word is there. The last two bytes are the end of the name table's header: alignment 1, entry size 0.
    ASSERT_EQ(ELF_SeekSection(image, size - start - 2, ".a"), 1);
    EXPECT_EQ(Read32(image), order == ByteOrder::little ? 0xFFFF0000u : 0x0000FFFFu);
    uint8_t buffer[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    uint32_t count = 0;
    ASSERT_EQ(ELF_SeekSection(image, size - start - 2, ".a"), 1);
    EXPECT_EQ(ELF_ReadBlock(image, buffer, 8, &count), 1);
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(RawBytes(buffer, buffer + 8), (RawBytes{0, 0, 9, 9, 9, 9, 9, 9}));
  }
}

// Numbers across every boundary of the stream's blocks, of which there are more than the stream keeps.
TEST(SectionAccess, BlocksOfTheStreamDoNotShow) {
  constexpr uint32_t BLOCKS = 2300;
  const std::string path = ElfFile(ByteOrder::big).section(".a").set(&ElfSectionHeader::sh_offset, 0).write();
  std::filesystem::resize_file(path, uintmax_t{BLOCKS} * ElfStream::BLOCK_SIZE);
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  for (uint32_t block = 1; block < BLOCKS; ++block) {
    const RawBytes number = Bytes().u32(block << 4).In(ByteOrder::big);
    file.seekp(block * ElfStream::BLOCK_SIZE - 2).write(reinterpret_cast<const char*>(number.data()), 4);
  }
  file.close();
  const OpenedImage image(path);
  for (uint32_t step = 1; step < 2 * BLOCKS - 1; ++step) {  // up, then down
    const uint32_t block = step < BLOCKS ? step : 2 * BLOCKS - 1 - step;
    const uint32_t offset = block * ElfStream::BLOCK_SIZE - 3;
    ASSERT_EQ(ELF_SeekSection(image, offset, ".a"), 1);
    EXPECT_EQ(Read32(image), block << 4 >> 8);
    EXPECT_EQ(ELF_Skip(image, -2), 1);
    EXPECT_EQ(Read16(image), block << 4 >> 8 & 0xFFFF);
    EXPECT_EQ(ELF_Skip(image, -3), 1);
    uint8_t bytes[4] = {};
    uint32_t count = 0;
    EXPECT_EQ(ELF_ReadBlock(image, bytes, 4, &count), 1);
    EXPECT_EQ(uint32_t{bytes[2]} << 8 | bytes[3], (block << 4) & 0xFFFF);
    EXPECT_EQ(ELF_SectionPos(image, ".a"), static_cast<int32_t>(offset + 5));
  }
}

TEST(SectionAccess, AFileThatShrinksReadsAsEnded) {
  const ElfFile file = ElfFile().section(".a", Bytes().pad(10 * ElfStream::BLOCK_SIZE, 1));
  const OpenedImage image = file.open();
  std::filesystem::resize_file(TempFolder::OfProcess().Path("test.elf"), 100);
  ASSERT_EQ(ELF_SeekSection(image, 5 * ElfStream::BLOCK_SIZE, ".a"), 1);
  EXPECT_EQ(Read32(image), 0xFFFFFFFFu);
}

TEST(SectionAccess, GetSegmentTellsWhatToLoad) {
  for (const ByteOrder order : bothOrders) {
    const Bytes code = Bytes().u32(0xCAFEF00D);
    // clang-format off
    const OpenedImage image = ElfFile(order)
        .segment(PT_LOAD, 0x1000, code).set(&ElfProgramHeader::p_paddr, 0x8000).set(&ElfProgramHeader::p_memsz, 12)
        .segment(PT_LOAD, 0, code).set(&ElfProgramHeader::p_paddr, 0x8000)
        .segment(4, 0x3000, code).open();
    // clang-format on
    struct {
      uint32_t address = 1, fileSize = 2, memorySize = 3, flags = 4;
    } s;
    const auto get = [&](uint32_t index) {
      return ELF_GetSegment(image, index, &s.address, &s.fileSize, &s.memorySize, &s.flags);
    };
    EXPECT_EQ(get(3), 0);
    EXPECT_EQ(s.address, 1u) << "outputs are left alone";
    EXPECT_EQ(get(0), 1);
    EXPECT_EQ(s.address, 0x1000u) << "the virtual address wins";
    EXPECT_EQ(s.fileSize, 4u);
    EXPECT_EQ(s.memorySize, 12u);
    EXPECT_EQ(s.flags, uint32_t{PF_R | PF_X});
    EXPECT_EQ(Read32(image), 0xCAFEF00Du);
    EXPECT_EQ(get(2), 0) << "not PT_LOAD";
    EXPECT_EQ(s.address, 0x3000u);
    EXPECT_EQ(ELF_Skip(image, -4), 1);
    EXPECT_EQ(Read32(image), 0xCAFEF00Du) << "the stream did not move";
    EXPECT_EQ(get(1), 1);
    EXPECT_EQ(s.address, 0x8000u) << "the physical one where it is 0";
  }
}

}  // namespace
