// Files that are no files, that are longer than a number of 32 bits, that change while they are open; several tables of
// one loader, and several loaders, in turns and at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

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
  ExpectRefused(std::string(5000, 'x'));
#if !defined(_WIN32)
  const TempFolder& folder = TempFolder::OfProcess();
  ExpectRefused("/dev/null");
  ExpectRefused("/dev/zero");
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  ExpectRefused(folder.Path("pipe"));  // and nobody waits for a writer
#endif
}

// The bytes after the sound file are a hole.
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

  // Section names of 4 GiB less a byte, in a file that has them: the terminator after them must find room.
  ElfFile file(ByteOrder::big);
  const RawBytes bytes = file.section(".debug_info").build();
  RawBytes falsified = bytes;
  std::fill(falsified.end() - 20, falsified.end() - 16, uint8_t{0xFF});  // sh_size of the last section
  const std::string path = TempFolder::OfProcess().Write("names.elf", falsified);
  std::filesystem::resize_file(path, uint64_t{5} << 30);
  ExpectRefused(path);
}

TEST_F(FileKinds, AnOpenFileMayShrinkChangeOrVanish) {
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
    ASSERT_NE(LoadPath(Write("vanishing.elf", format)), nullptr);
    std::error_code error;
    std::filesystem::remove(TempFolder::OfProcess().Path("vanishing.elf"), error);  // Windows refuses
    EXPECT_EQ(ExtendAll(), 2);
  }
}

std::vector<RawBytes> SoundFiles() {
  std::vector<RawBytes> files;
  for (const ByteOrder order : bothOrders) {
    files.push_back(MakeSoundFile(SoundFormat::dwarf1, order));
    files.push_back(MakeSoundFile(SoundFormat::dwarf2, order));
  }
  return files;
}

// The records of a table are what they are alone, also when its loader or another has built, filled or dropped others
// in between.
TEST_F(FileKinds, TablesAndLoadersWorkInTurns) {
  const std::vector<RawBytes> files = SoundFiles();
  const auto open = [](ElfLoader& with, const RawBytes& file) {
    return with.OpenMemory("f", file.data(), file.size());
  };
  const auto load = [&](const RawBytes& file) {
    ASSERT_EQ(open(loader, file), 1);
    ASSERT_EQ(loader.Build(&table), 1);
  };
  for (const RawBytes& first : files) {
    load(first);
    ASSERT_EQ(ExtendAll(), 2);
    const std::string alone = RecordText(loader, table);
    for (const RawBytes& second : files) {
      load(first);
      {
        RecordTable later;
        ElfLoader other("Other");
        RecordTable othersTable;
        ASSERT_EQ(loader.Build(&later), 1);
        ASSERT_EQ(open(other, second), 1);
        ASSERT_EQ(other.Build(&othersTable), 1);
        ASSERT_EQ(loader.Extend(table.Modules(), SYM_LOAD_ALL), 1);
        ASSERT_EQ(loader.Extend(later.Modules(), SYM_LOAD_ALL), 1);
        ASSERT_EQ(other.Extend(othersTable.Modules(), SYM_LOAD_ALL), 1);
      }
      ASSERT_EQ(loader.Extend(table.Modules()->next, SYM_LOAD_ALL), 1);
      EXPECT_TRUE(RecordText(loader, table) == alone);
    }
  }
}

// Runs under the thread sanitizer too.
TEST_F(FileKinds, LoadersWorkAtOnce) {
  std::vector<RawBytes> files = SoundFiles();
  for (const char* sample : {ELFLOAD_SAMPLE, ELFLOAD_DWARF1_SAMPLE}) {
    std::ifstream file(sample, std::ios::binary);
    files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  struct Run {
    ElfLoader loader{"Loader"};
    RecordTable table;
    int failures = 0;
    void Fill(const RawBytes& file) {
      failures += loader.OpenMemory("f", file.data(), file.size()) != 1 ? 1 : 0;
      failures += loader.Build(&table) != 1 ? 1 : 0;
      for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
        failures += loader.Extend(module, SYM_LOAD_ALL) != 1 ? 1 : 0;
      }
    }
  };
  const auto reversed = std::vector<RawBytes>(files.rbegin(), files.rend());
  for (size_t last = 0; last < files.size(); ++last) {  // a thread's last file is compared
    Run alone;
    alone.Fill(files[last]);
    Run runs[2];
    const auto fill = [](Run* run, const std::vector<RawBytes>& all, size_t end) {
      for (const RawBytes& file : all) run->Fill(file);
      run->Fill(all[end]);
    };
    std::thread other(fill, &runs[1], reversed, files.size() - 1 - last);
    fill(&runs[0], files, last);
    other.join();
    for (Run& run : runs) {
      EXPECT_EQ(run.failures, 0);
      EXPECT_TRUE(RecordText(run.loader, run.table) == RecordText(alone.loader, alone.table)) << last;
    }
  }
}

}  // namespace
