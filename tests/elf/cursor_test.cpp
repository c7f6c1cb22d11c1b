// Cursors: what they read across windows, past the end of the file, in kept and borrowed windows, in both byte orders.
#include "elf/cursor.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/bytes.h"
#include "support/temp_folder.h"

namespace {

// A file of words that are their own offset.
class Words : public testing::Test {
 protected:
  static constexpr uint32_t COUNT = 100000;
  static constexpr uint32_t SIZE = 4 * COUNT;

  void Open(ByteOrder order) {
    Bytes bytes;
    for (uint32_t offset = 0; offset < SIZE; offset += 4) bytes.u32(offset);
    file_ = bytes.In(order);
    source_ = ByteSource::FromMemory(file_.data(), file_.size());
    for (Cursor* each : {&cursor, &other}) each->Use(source_.get(), order == ByteOrder::little);
  }

  const SectionPlace section = {".section", 400, SIZE - 400, true};
  Failure failure;
  Allowance allowance;
  Cursor cursor{&failure, &allowance};
  Cursor other{&failure, &allowance};
  const ByteSource* source() const { return source_.get(); }

 private:
  RawBytes file_;
  std::unique_ptr<ByteSource> source_;
};

TEST_F(Words, AreReadThroughWindowsOfAnySizeAndPlace) {
  for (const ByteOrder order : bothOrders) {
    Open(order);
    for (const uint32_t expected : {1u, 100u, 0x10000u, 0xFFFFFFFFu}) {
      for (const uint32_t start : {0u, 4u, 65532u, 300000u}) {
        cursor.Seek(section, start, expected);
        for (uint32_t offset = start; offset < section.size; offset += 4) {
          ASSERT_EQ(cursor.Offset(), offset);
          ASSERT_EQ(cursor.U32(), offset + 400);
        }
      }
    }
    // Fields that begin anywhere, jumps to and fro.
    for (uint32_t step = 1; step < 70000; step = step * 3 + 1) {
      cursor.Seek(0);
      for (uint32_t offset = 0; offset + 8 < section.size; offset += step) {
        cursor.Seek(offset ^ 0x40);
        cursor.Seek(offset & ~3u);
        const uint32_t low = cursor.U16();
        const uint32_t high = cursor.U16();
        ASSERT_EQ(order == ByteOrder::little ? low | high << 16 : low << 16 | high, (offset & ~3u) + 400);
      }
    }
  }
}

TEST_F(Words, PastTheEndOfTheFileAreBytes0xFF) {
  Open(ByteOrder::big);
  cursor.Seek(section, section.size - 2);
  EXPECT_EQ(cursor.U32(), ((SIZE - 4) & 0xFFFF) << 16 | 0xFFFF);
  EXPECT_TRUE(cursor.AtEnd());
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(cursor.U32(), 0xFFFFFFFF);
  EXPECT_EQ(cursor.Offset(), section.size + 4002);
  uint8_t bytes[8] = {};
  cursor.Seek(section.size - 3);
  EXPECT_EQ(cursor.Read(bytes, 8), 3u);
  EXPECT_EQ(cursor.Offset(), section.size + 5);
  EXPECT_FALSE(failure);
  cursor.Seek({".missing", 0, 0, false}, 0x12);
  EXPECT_STREQ(failure.Section(), ".missing");
  EXPECT_EQ(failure.Offset(), 0x12u);
}

TEST_F(Words, StayInAKeptWindowForDetours) {
  Open(ByteOrder::little);
  for (const uint32_t start : {0u, 1000u, 200000u}) {
    cursor.SeekKept(section, start, 150000, 64);
    for (uint32_t offset = start; offset < section.size; offset += 4) {
      ASSERT_EQ(cursor.U32(), offset + 400);
      if (offset % 1000 == 0) {
        const uint32_t detour = start + (offset - start) / 8 * 4;
        other.LookInto(cursor, detour);
        for (uint32_t word = detour + 400; word < detour + 800; word += 4) {
          ASSERT_EQ(other.U32(), word < SIZE ? word : 0xFFFFFFFF);
        }
      }
    }
  }
  other.LookInto(cursor, 0);  // in no window any more
  EXPECT_EQ(other.U32(), 400u);
}

TEST_F(Words, AreInPlaceInAWholeSection) {
  Open(ByteOrder::big);
  std::vector<uint8_t> memory(Cursor::WholeSize(source(), section));
  cursor.SeekWhole(section, memory.data());
  EXPECT_TRUE(cursor.IsInWhole(cursor.Next()));
  EXPECT_EQ(cursor.U32(), 400u);
  cursor.Seek(section.size - 4);
  EXPECT_EQ(cursor.U32(), section.size - 4 + 400);
  EXPECT_EQ(cursor.U32(), 0xFFFFFFFF);
}

TEST(CursorOfAFile, ThatShrinksReadsAsEnded) {
  const std::string path = TempFolder::OfProcess().Write("shrinking", RawBytes(200000, 7));
  const auto source = ByteSource::Open(path.c_str());
  ASSERT_NE(source, nullptr);
  Failure failure;
  Allowance allowance;
  Cursor cursor(&failure, &allowance);
  cursor.Use(source.get(), true);
  cursor.Seek({".section", 0, 200000, true}, 0);
  EXPECT_EQ(cursor.U8(), 7);
  TempFolder::OfProcess().Write("shrinking", RawBytes(100, 7));
  cursor.Seek(150000);
  EXPECT_EQ(cursor.U8(), 0xFF);
}

TEST(CursorCharges, EachByteAndStopsAtTheAllowance) {
  const RawBytes bytes(1000, 0);
  const auto source = ByteSource::FromMemory(bytes.data(), bytes.size());
  Failure failure;
  Allowance allowance;
  allowance.Grant(0);
  Cursor cursor(&failure, &allowance);
  cursor.Use(source.get(), true);
  EXPECT_TRUE(cursor.Charge(UINT64_MAX)) << "no more than the file has";
  for (int i = 0; i < 5000; ++i) cursor.Charge(1000);
  EXPECT_STREQ(failure.Text(), "parts of the file are read over and over");
}

}  // namespace
