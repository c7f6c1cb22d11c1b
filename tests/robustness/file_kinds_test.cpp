// Files that are no files, that are longer than a number of 32 bits, that change while they are open; loaders in turns.
#include <gtest/gtest.h>

#include <filesystem>

#include "host_run.h"
#include "sound_files.h"
#include "support/host_fixture.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace {

class FileKinds : public HostTest {
 protected:
  static std::string Write(const std::string& name, SoundFormat format, ByteOrder order = ByteOrder::big) {
    return TempFolder::OfProcess().Write(name, MakeSoundFile(format, order));
  }
  // The answer to a file that cannot be opened: words on standard output, and no module.
  void ExpectRefused(const std::string& path) {
    testing::internal::CaptureStdout();
    LoadPath(path);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(opened, 0) << path;
    EXPECT_EQ(loader.image, nullptr) << path;
  }
  int ExtendAll() {
    int filled = 0;
    for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
      filled += loader.Extend(module, SYM_LOAD_ALL);
    }
    return filled;
  }
};

TEST_F(FileKinds, WhatIsNoFileIsRefused) {
  const TempFolder& folder = TempFolder::OfProcess();
  ExpectRefused(folder.Path("missing"));
  ExpectRefused(folder.Path(""));
  ExpectRefused(folder.Write("empty", {}));
  ExpectRefused(std::string(5000, 'x'));
#if !defined(_WIN32)
  ExpectRefused("/dev/null");
  ExpectRefused("/dev/zero");
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  ExpectRefused(folder.Path("pipe"));  // and nobody waits for a writer
  const std::string secret = Write("secret", SoundFormat::dwarf2);
  chmod(secret.c_str(), 0);
  if (std::FILE* file = std::fopen(secret.c_str(), "rb")) {
    std::fclose(file);  // the administrator reads everything
  } else {
    ExpectRefused(secret);
  }
#endif
}

// The bytes behind the sound file are a hole.
TEST_F(FileKinds, LengthHasMoreThan32Bits) {
  const std::string alone = Write("long.elf", SoundFormat::dwarf2);
  ASSERT_NE(LoadPath(alone), nullptr);
  const std::string records = RecordText(loader, table);
  for (const uint64_t size : {uint64_t{1} << 31, (uint64_t{1} << 31) + 1, uint64_t{1} << 32, uint64_t{5} << 30}) {
    std::error_code error;
    std::filesystem::resize_file(alone, size, error);
    if (error) {
      GTEST_SKIP() << "no room for a file of " << size << " bytes";
    }
    ASSERT_NE(LoadPath(alone), nullptr) << size;
    EXPECT_EQ(RecordText(loader, table), records) << size;
  }

  // Section names of 4 GiB less a byte, in a file that has them: the terminator behind them must find room.
  ElfFile file(ByteOrder::big);
  const RawBytes bytes = file.section(".debug_info").build();
  RawBytes falsified = bytes;
  std::fill(falsified.end() - 20, falsified.end() - 16, uint8_t{0xFF});  // sh_size of the last section
  const std::string path = TempFolder::OfProcess().Write("names.elf", falsified);
  std::filesystem::resize_file(path, uint64_t{5} << 30);
  ExpectRefused(path);
}

TEST_F(FileKinds, AnOpenFileMayVanish) {
  for (const SoundFormat format : {SoundFormat::dwarf1, SoundFormat::dwarf2}) {
    const std::string path = Write("vanishing.elf", format);
    ASSERT_NE(LoadPath(path), nullptr);
    std::error_code error;
    std::filesystem::remove(path, error);  // Windows refuses
    EXPECT_EQ(ExtendAll(), 2);
  }
}

TEST_F(FileKinds, AnOpenFileMayShrinkOrChange) {
  for (const SoundFormat format : {SoundFormat::dwarf1, SoundFormat::dwarf2}) {
    const RawBytes sound = MakeSoundFile(format, ByteOrder::big);
    for (size_t length = 0; length < sound.size(); length += 97) {
      for (const bool shrinks : {true, false}) {
        const std::string path = TempFolder::OfProcess().Write("changing.elf", sound);
        ASSERT_NE(LoadPath(path), nullptr);
        RawBytes changed(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(length));
        changed.resize(shrinks ? length : sound.size(), 0xA5);
        TempFolder::OfProcess().Write("changing.elf", changed);
        ExtendAll();
        EXPECT_LE(TakeMessages().size(), 1u) << length;
        EXPECT_FALSE(RecordText(loader, table).empty());
      }
    }
  }
}

// Each loader's records are what they are alone, also when another has scanned or filled in between, or has gone.
TEST_F(FileKinds, LoadersWorkInTurns) {
  const std::string paths[] = {Write("a.elf", SoundFormat::dwarf1, ByteOrder::little),
                               Write("b.elf", SoundFormat::dwarf1), Write("c.elf", SoundFormat::dwarf2),
                               Write("d.elf", SoundFormat::dwarf2, ByteOrder::little)};
  for (const std::string& first : paths) {
    ASSERT_NE(LoadPath(first), nullptr);
    ASSERT_EQ(ExtendAll(), 2);
    const std::string alone = RecordText(loader, table);
    for (const std::string& second : paths) {
      ASSERT_NE(LoadPath(first), nullptr);
      {
        ElfLoader other("Other");
        RecordTable otherTable;
        ASSERT_EQ(other.Open(second.c_str()), 1);
        ASSERT_EQ(other.Build(&otherTable), 1);
        ASSERT_EQ(loader.Extend(table.Modules(), SYM_LOAD_ALL), 1);
        ASSERT_EQ(other.Extend(otherTable.Modules(), SYM_LOAD_ALL), 1);
      }
      ASSERT_EQ(loader.Extend(table.Modules()->next, SYM_LOAD_ALL), 1);
      EXPECT_TRUE(RecordText(loader, table) == alone) << first << " beside " << second;
    }
  }
}

}  // namespace
