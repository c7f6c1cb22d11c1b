#include "tarnixcore/files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

namespace {

const std::string longName(3000, 'n');

TEST(FileNames, SplitInThree) {
  struct Fact {
    std::string path, directory, name, extension;
  };
  const Fact facts[] = {
      {"/project/src/main.c", "/project/src", "main", ".c"},
      {"C:\\src\\main.tar.gz", "C:\\src", "main.tar", ".gz"},
      {"a\\b/c.h", "a\\b", "c", ".h"},
      {"a/b\\c.h", "a/b", "c", ".h"},
      {"main", "", "main", ""},
      {"/main.c", "/", "main", ".c"},
      {"C:\\main.c", "C:\\", "main", ".c"},
      {"C:main.c", "C:", "main", ".c"},
      {"C:", "C:", "", ""},
      {"C:.c", "C:", "", ".c"},
      {"1:main.c", "", "1:main", ".c"},  // a digit is no drive
      {"/", "/", "", ""},
      {"a//b", "a/", "b", ""},
      {"a/.DBG", "a", "", ".DBG"},
      {"a.d/main", "a.d", "main", ""},  // a dot of the directory begins no extension
      {"main.", "", "main", "."},
      {"a/..", "a", ".", "."},
      {"", "", "", ""},
      {longName + "/" + longName + "." + longName, longName.substr(0, 1023), longName.substr(0, 1023),
       "." + longName.substr(0, 254)},
  };
  for (const Fact& fact : facts) {
    SCOPED_TRACE(fact.path);
    char directory[FE_NAME_SIZE];
    char name[FE_NAME_SIZE];
    char extension[FE_EXTENSION_SIZE];
    FE_SplitFileName(fact.path.c_str(), directory, name, extension);
    EXPECT_EQ(directory, fact.directory);
    EXPECT_EQ(name, fact.name);
    EXPECT_EQ(extension, fact.extension);
    // An output may be the buffer that the path is in.
    for (char* shared : {directory, name}) {
      if (fact.path.size() < FE_NAME_SIZE) {
        std::strcpy(shared, fact.path.c_str());
        FE_SplitFileName(shared, directory, name, extension);
        EXPECT_EQ(directory, fact.directory);
        EXPECT_EQ(name, fact.name);
        EXPECT_EQ(extension, fact.extension);
      }
    }
  }
  char name[FE_NAME_SIZE];
  FE_SplitFileName("a/b.c", nullptr, name, nullptr);  // an output that nobody wants
  EXPECT_STREQ(name, "b");
  FE_SplitFileName(nullptr, nullptr, name, nullptr);
  EXPECT_STREQ(name, "");
}

TEST(FileNames, JoinOfThree) {
  struct Fact {
    const char *directory, *name, *extension;
    std::string joined;
  };
  const Fact facts[] = {
      {"src", "main", ".c", "src/main.c"},
      {"src", "main", "c", "src/main.c"},
      {"src", "main.c", nullptr, "src/main.c"},
      {nullptr, "main", ".c", "main.c"},
      {"", "main", "", "main"},
      {"src\\", "main", ".c", "src\\main.c"},
      {"C:\\src/sub", "main", ".c", "C:\\src/sub/main.c"},
      {"C:", "main", ".c", "C:/main.c"},
      {"/", "main", ".c", "/main.c"},
      {"src", "/main", ".c", "/main.c"},
      {"src", "D:main", ".c", "D:main.c"},
      {"src", nullptr, nullptr, "src/"},
      {nullptr, nullptr, nullptr, ""},
      {longName.c_str(), "main", ".c", longName.substr(0, 1023)},
  };
  for (const Fact& fact : facts) {
    SCOPED_TRACE(fact.joined);
    char out[FE_NAME_SIZE];
    FE_BuildFileName(out, fact.directory, fact.name, fact.extension);
    EXPECT_EQ(out, fact.joined);
    if (fact.extension == nullptr) {
      FE_BuildFullName(out, sizeof out, fact.name, fact.directory);
      EXPECT_EQ(out, fact.joined);
    }
  }
  // Not a byte more than directory, name, separator and terminator; the output may be one of the parts.
  char exact[] = "src\0ain.c!";
  FE_BuildFileName(exact, "src", "main.c", nullptr);
  EXPECT_EQ(std::string_view(exact, sizeof exact), std::string_view("src/main.c\0", 11));
  char shared[FE_NAME_SIZE] = "main.c";
  FE_BuildFileName(shared, "src", shared, nullptr);
  EXPECT_STREQ(shared, "src/main.c");
  FE_BuildFileName(shared, shared, "x", nullptr);
  EXPECT_STREQ(shared, "src/main.c/x");
}

TEST(FileNames, FullNameKeepsToItsSize) {
  const std::string wide = longName + "/main.c";
  for (const size_t size : {size_t{1}, size_t{5}, size_t{2000}, wide.size(), wide.size() + 1}) {
    std::string out(size + 1, '!');
    FE_BuildFullName(out.data(), static_cast<int>(size), "main.c", longName.c_str());
    EXPECT_EQ(out.c_str(), wide.substr(0, size - 1));
    EXPECT_EQ(out[size], '!');
  }
  char untouched = '!';
  FE_BuildFullName(&untouched, 0, "main.c", "src");
  FE_FullPath(&untouched, "main.c", -1);
  EXPECT_EQ(untouched, '!');
}

TEST(FileNames, FullPathFoldsDots) {
  const std::string here = std::filesystem::current_path().string();
  const std::string above = std::filesystem::current_path().parent_path().string();
  const std::string slash = here.find('\\') == std::string::npos ? "/" : "\\";
  const std::string folds[][2] = {
      {"main.elf", here + slash + "main.elf"},
      {"a/.//b/../main.elf", here + slash + "a/main.elf"},
      {"../main.elf", above + "/main.elf"},
      {"", here},
      {"/a/b/../../../../main.elf", "/main.elf"},
      {"/", "/"},
      {"/a/", "/a"},
      {"/a/..b/.c", "/a/..b/.c"},
      {"C:\\a\\..\\b/.\\c", "C:\\b\\c"},
      {"C:\\..\\c", "C:\\c"},
      {"\\\\host\\share\\..\\x", "\\\\host\\x"},
  };
  for (const auto& [name, full] : folds) {
    char out[4096];
    FE_FullPath(out, name.c_str(), sizeof out);
    EXPECT_EQ(out, full) << name;
    FE_FullPath(out, name.c_str(), 4);
    EXPECT_EQ(out, full.substr(0, 3)) << name;
  }
}

}  // namespace
