#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/environment.h"
#include "support/temp_folder.h"
#include "tarnixcore/files.h"

namespace {

#if defined(_WIN32)
constexpr char PATH_SEPARATOR = ';';
#else
constexpr char PATH_SEPARATOR = ':';
#endif

class SearchPath : public testing::Test {
 protected:
  SearchPath() {
    for (const char* file : {"first/one.elf", "second/one.elf", "second/two.elf", "second/sub/three.elf"}) {
      folder.Write(file, {0x7F});
    }
    std::filesystem::create_directory(folder.Path("first/two.elf"));  // a folder, which must not hide the file
  }
  ~SearchPath() override {
    for (const auto& [pathClass, variable] : classes) {
      SetEnvironment(variable, nullptr);
      FE_SetPathList(pathClass, nullptr);
    }
  }
  // The path found, or "" for none.
  static std::string Find(const std::string& name, int pathClass) {
    char found[FE_NAME_SIZE] = "untouched";
    const int handle = FE_FopenPath(name.c_str(), found, pathClass);
    if (handle == -1) {
      EXPECT_STREQ(found, "untouched");
      return "";
    }
    EXPECT_EQ(FE_Close(handle), 0);
    return found;
  }

  struct Class {
    int number;
    const char* variable;
  };
  static constexpr Class classes[] = {{0, "ELFLOAD_SOURCES"}, {4, "ELFLOAD_DEBUG"}, {7, "ELFLOAD_PATH"}};
  TempFolder folder;
};

TEST_F(SearchPath, EachClassSearchesItsOwnList) {
  const std::string both = folder.Path("first") + PATH_SEPARATOR + folder.Path("second");
  for (const auto& [pathClass, variable] : classes) {
    SCOPED_TRACE(variable);
    EXPECT_EQ(Find("one.elf", pathClass), "");
    SetEnvironment(variable, both.c_str());
    EXPECT_EQ(Find("one.elf", pathClass), folder.Path("first/one.elf"));
    EXPECT_EQ(Find("two.elf", pathClass), folder.Path("second/two.elf"));
    EXPECT_EQ(Find("sub/three.elf", pathClass), folder.Path("second/sub/three.elf"));
    EXPECT_EQ(Find("four.elf", pathClass), "");
    EXPECT_EQ(Find("/one.elf", pathClass), "");   // absolute names are not searched
    EXPECT_EQ(Find("C:one.elf", pathClass), "");  // nor those with a drive
    FE_SetPathList(pathClass, folder.Path("second").c_str());
    EXPECT_EQ(Find("one.elf", pathClass), folder.Path("second/one.elf"));
    FE_SetPathList(pathClass, "");
    EXPECT_EQ(Find("one.elf", pathClass), "");
    FE_SetPathList(pathClass, nullptr);
    EXPECT_EQ(Find("one.elf", pathClass), folder.Path("first/one.elf"));
    SetEnvironment(variable, nullptr);
  }
  const std::string separator(1, PATH_SEPARATOR);
  const std::string gaps =
      separator + folder.Path("none") + separator + separator + folder.Path("second") + "/" + separator;
  SetEnvironment("ELFLOAD_PATH", gaps.c_str());
  EXPECT_EQ(Find("one.elf", 7), folder.Path("second/one.elf"));
  EXPECT_EQ(Find("one.elf", 3), "");  // a class without a list
  FE_SetPathList(3, folder.Path("second").c_str());
  EXPECT_EQ(Find("one.elf", 3), "");
}

TEST_F(SearchPath, TheNameAsGivenComesFirst) {
  FE_SetPathList(7, folder.Path("first").c_str());
  EXPECT_EQ(Find(folder.Path("second/one.elf"), 7), folder.Path("second/one.elf"));
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path("second"));
  EXPECT_EQ(Find("one.elf", 7), "one.elf");
  std::filesystem::current_path(before);
}

TEST_F(SearchPath, OnlyRegularFilesThatFitCount) {
#if !defined(_WIN32)
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(Find(folder.Path("pipe"), 7), "");  // and the search does not wait for a writer
#endif
  EXPECT_EQ(Find(folder.Path("first"), 7), "");
  EXPECT_EQ(Find("/dev/null", 7), "");
  EXPECT_EQ(Find("", 7), "");
  std::string dots = folder.Path("");
  while (dots.size() < FE_NAME_SIZE) dots += "./";
  EXPECT_EQ(Find(dots + "first/one.elf", 7), "");  // `found` could not hold it
  EXPECT_EQ(FE_FopenPath(nullptr, nullptr, 7), -1);
}

}  // namespace
