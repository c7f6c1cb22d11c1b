// The warning that a source file is younger than the absolute file: when it comes, what it says, what ends it.
#include "elf/source_date.h"

#include <chrono>
#include <filesystem>

#include "support/environment.h"
#include "support/host_fixture.h"
#include "tarnixcore/messages.h"

namespace {

class SourceDate : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    path_ = ElfFile().section(".a").write("dated.elf");
    std::filesystem::last_write_time(path_, Time(0));
    image_.emplace(path_);
    FE_SetPathList(FE_SOURCES, TempFolder::OfProcess().Path("sources").c_str());
    FE_SetPathList(FE_DEBUG_FILES, TempFolder::OfProcess().Path("debug").c_str());
  }
  void TearDown() override {
    image_.reset();
    FE_SetPathList(FE_SOURCES, nullptr);
    FE_SetPathList(FE_DEBUG_FILES, nullptr);
    HostTest::TearDown();
  }

  static std::filesystem::file_time_type Time(int seconds) {
    static const auto base = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    return base + std::chrono::seconds(seconds);
  }
  // A source file that is younger than the absolute file by some seconds.
  static std::string Source(const std::string& name, int seconds = 1) {
    std::string path = TempFolder::OfProcess().Write(name, {'x'});
    std::filesystem::last_write_time(path, Time(seconds));
    return path;
  }
  size_t Warnings(const std::string& name) {
    CheckSourceDate(*image_, name.c_str());
    return TakeMessages().size();
  }

  std::optional<OpenedImage> image_;

 private:
  std::string path_;
};

TEST_F(SourceDate, WarnsOfAYoungerFileOnly) {
  for (const auto& [seconds, warnings] : {std::pair{-1, 0u}, {0, 0u}, {1, 1u}, {2000, 1u}}) {
    EXPECT_EQ(Warnings(Source("a.c", seconds)), warnings) << seconds;
  }
  EXPECT_EQ(Warnings("missing.c"), 0u);
  EXPECT_EQ(Warnings(""), 0u);
  CheckSourceDate(*image_, Source("a.c").c_str());
  EXPECT_EQ(TakeMessages(),
            Texts{"Elf-Loader: WARNING: The file <" + Source("a.c") +
                  "> is more recent than the corresponding absolute file.\n     \n     Please recompile and link this "
                  "source file before trying to debug.\n     Select OK to continue, CANCEL to avoid other out of date "
                  "warnings for this application."});
  EXPECT_EQ(boxStyle, unsigned{MB_OKCANCEL} | MB_ICONINFORMATION);
}

TEST_F(SourceDate, SearchesByTheBareNameInTheClassOfTheExtension) {
  Source("sources/b.c");
  Source("sources/.dbg");
  Source("debug/c.dbg");
  Source("debug/d.DbG");
  for (const char* name :
       {"b.c", "/no/such/folder/b.c", "C:\\work\\b.c", "/no/such/c.dbg", "/no/such/d.DbG", "/no/such/.dbg"}) {
    EXPECT_EQ(Warnings(name), 1u) << name;
  }
  EXPECT_EQ(Warnings("c.c"), 0u);
}

TEST_F(SourceDate, AutotestStopsTheWarningAndCancelAllOfThisImage) {
  const std::string source = Source("a.c");
  for (const auto& [value, warnings] : {std::pair{"ON", 0u}, {"on", 0u}, {"OFF", 1u}, {"other", 1u}}) {
    const EnvironmentValue autotest("AUTOTEST", value);
    EXPECT_EQ(Warnings(source), warnings) << value;
  }
  EXPECT_EQ(Warnings(source), 1u);
  EXPECT_EQ((*image_)->warnOutOfDate, 1u);
  boxAnswer = IDCANCEL;
  EXPECT_EQ(Warnings(source), 1u);
  EXPECT_EQ(Warnings(source), 0u);
  EXPECT_EQ((*image_)->warnOutOfDate, 0u);
}

}  // namespace
