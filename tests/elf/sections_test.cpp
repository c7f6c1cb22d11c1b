// Sections by name, and segments.
#include "elf/sections.h"

#include <gtest/gtest.h>

#include "support/elf_file.h"

namespace {

TEST(Sections, AreFoundByTheirExactNames) {
  for (const ByteOrder order : bothOrders) {
    ElfFile file = ElfFile(order).section(".a", Bytes().u16(0x1234).u32(0x89ABCDEF).u8(7)).section(".empty");
    const OpenedImage image = file.section(".a", Bytes().pad(99)).section(".A", Bytes().pad(3)).open();
    ASSERT_NE(image, nullptr);
    const SectionPlace first = ELF_PlaceOf(image, ".a");
    EXPECT_EQ(first.size, 7u) << "the first of a name";
    EXPECT_EQ(ELF_PlaceOf(image, ".A").size, 3u);
    EXPECT_TRUE(ELF_PlaceOf(image, ".empty").exists);
    EXPECT_FALSE(ELF_PlaceOf(image, ".missing").exists);

    Failure failure;
    Allowance allowance;
    Cursor cursor(&failure, &allowance);
    cursor.Use(image->file, ELF_IsLittleEndian(image));
    cursor.Seek(first, 0);
    EXPECT_EQ(cursor.U16(), 0x1234u);
    EXPECT_EQ(cursor.U32(), 0x89ABCDEFu);
    EXPECT_EQ(cursor.Offset(), 6u);
    EXPECT_EQ(cursor.U8(), 7u);
  }
}

TEST(Sections, GetSegmentNamesWhatToLoad) {
  for (const ByteOrder order : bothOrders) {
    const Bytes code = Bytes().u32(0xCAFEF00D);
    // clang-format off
    const OpenedImage image = ElfFile(order)
        .segment(PT_LOAD, 0x1000, code).set(&ElfProgramHeader::p_paddr, 0x8000).set(&ElfProgramHeader::p_memsz, 12)
        .segment(PT_LOAD, 0, code).set(&ElfProgramHeader::p_paddr, 0x8000)
        .segment(4, 0x3000, code).open();
    // clang-format on
    ElfSegment segment = {1, 2, 3, 4, 5};
    EXPECT_EQ(ELF_GetSegment(image, 3, &segment), 0);
    EXPECT_EQ(segment.address, 1u) << "left alone";
    EXPECT_EQ(ELF_GetSegment(image, 0, &segment), 1);
    EXPECT_EQ((std::vector{segment.address, segment.offset, segment.fileSize, segment.memorySize, segment.flags}),
              (std::vector<uint32_t>{0x1000, 52 + 3 * 32, 4, 12, PF_R | PF_X}))
        << "the virtual address wins";
    EXPECT_EQ(ELF_GetSegment(image, 2, &segment), 0) << "not PT_LOAD";
    EXPECT_EQ(segment.address, 0x3000u) << "set all the same";
    EXPECT_EQ(ELF_GetSegment(image, 1, &segment), 1);
    EXPECT_EQ(segment.address, 0x8000u) << "the physical one where it is 0";
  }
}

}  // namespace
