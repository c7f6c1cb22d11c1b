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

}  // namespace
