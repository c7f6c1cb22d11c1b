#include "tarnixcore/component.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class Echo : public Component {
 public:
  Echo() : Component("Echo") {}
  int Type() override { return 9; }
  int Execute(int /*request*/, Argument* /*argument*/) override { return 0; }
  int Execute(char* line) override;
  std::string heard;
};

int Say(Component* component, char* arguments) {
  static_cast<Echo*>(component)->heard = std::string("say:") + arguments;
  return 5;
}
int Version(Component* component, char* arguments) {
  static_cast<Echo*>(component)->heard = std::string("ver:") + arguments;
  return 1;
}

int Echo::Execute(char* line) {
  static const Disp_CmdTableH table[] = {
      {"SAY", Say, "TEXT", "says it"}, {"ver", Version, "-", "version"}, {"idle", nullptr, "-", ""}, {}};
  return ExecCommandTableH(this, line, table);
}

TEST(CommandTable, FirstWordNamesTheRow) {
  struct Fact {
    const char* line;
    int result;
    const char* heard;
  };
  for (const Fact& fact : {Fact{"SAY hello  world ", 5, "say:hello  world "}, Fact{"say", 5, "say:"},
                           Fact{"  \tVeR \t", 1, "ver:"}, Fact{"VER\r\n", 1, "ver:"}, Fact{"VERSION", 0, ""},
                           Fact{"VE", 0, ""}, Fact{"", 0, ""}, Fact{"   ", 0, ""}, Fact{"idle", 0, ""}}) {
    Echo echo;
    std::string line = fact.line;
    EXPECT_EQ(echo.Execute(line.data()), fact.result) << fact.line;
    EXPECT_EQ(echo.heard, fact.heard) << fact.line;
  }
  Echo echo;
  EXPECT_EQ(echo.Execute(nullptr), 0);
  char line[] = "SAY";
  EXPECT_EQ(ExecCommandTableH(&echo, line, nullptr), 0);
}

TEST(Component, AnswersOfItsOwn) {
  Echo echo;
  EXPECT_STREQ(echo.Name(), "Echo");
  EXPECT_EQ(echo.Update(1, nullptr), 0);
  EXPECT_EQ(echo.GetComponentPrintFct(), nullptr);
  EXPECT_EQ(echo.SetMode(), 0);
}

}  // namespace
