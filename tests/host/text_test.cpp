#include "tarnixcore/text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/environment.h"

namespace {

TEST(BoundedCopy, CutsTerminatesAndPadsNothing) {
  struct Fact {
    const char* text;
    int size;
    const char* buffer;  // of what was "######"
  };
  for (const Fact& fact :
       {Fact{"abc", 6, "abc\0##"}, Fact{"abcdef", 4, "abc\0##"}, Fact{"abcde", 6, "abcde\0"}, Fact{"abc", 1, "\0#####"},
        Fact{"abc", 0, "######"}, Fact{"abc", -5, "######"}, Fact{"", 6, "\0#####"}, Fact{nullptr, 6, "\0#####"}}) {
    char out[] = "######";
    EXPECT_EQ(TU_strncpy(out, fact.text, fact.size), out);
    EXPECT_EQ(std::string(out, 6), std::string(fact.buffer, 6)) << fact.size;
  }
  const char open[] = {'a', 'b', 'c'};  // no terminator within the size
  char out[3];
  EXPECT_STREQ(TU_strncpy(out, open, 3), "ab");
  char shifted[] = "abcdef";
  TU_strncpy(shifted + 1, shifted, 6);
  EXPECT_STREQ(shifted, "aabcde");
}

TEST(WhichByKey, ComparesWithoutRegardToCase) {
  struct Fact {
    const char* value;  // null: not set
    const char* choices;
    int index;
  };
  for (const Fact& fact :
       {Fact{"OFF", "OFF|ON", 0}, Fact{"on", "OFF|ON", 1}, Fact{"On", "off|on|ON", 1}, Fact{"ONE", "OFF|ON", 7},
        Fact{"O", "OFF|ON", 7}, Fact{"OFF|ON", "OFF|ON", 7}, Fact{nullptr, "OFF|ON", 7}, Fact{"", "OFF|ON", 7},
        Fact{"", "OFF||ON", 1}, Fact{"x", "", 7}, Fact{"on", nullptr, 7}}) {
    SetEnvironment("ELFLOAD_TEST_KEY", fact.value);
    const bool isSet = std::getenv("ELFLOAD_TEST_KEY") != nullptr;
    if (isSet != (fact.value != nullptr)) {
      continue;  // a system without empty values
    }
    EXPECT_EQ(TE_WhichByKey("ELFLOAD_TEST_KEY", fact.choices, 7), fact.index);
  }
  EXPECT_EQ(TE_WhichByKey(nullptr, "OFF|ON", 7), 7);
  SetEnvironment("ELFLOAD_TEST_KEY", nullptr);
}

}  // namespace
