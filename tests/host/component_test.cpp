// What a component and its host say to one another: commands, messages, the symbol table.
#include "tarnixcore/component.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tarnixcore/host_program.h"
#include "tarnixcore/messages.h"
#include "tarnixcore/obj_file_loader.h"

// The library itself knows no records: to it a module is a pointer.
struct DescModule {
  int number;
};

namespace {

using Calls = std::vector<std::string>;

class Echo : public Component {
 public:
  Echo() : Component("Echo") {}
  int Type() override { return 9; }
  int Execute(int /*request*/, Argument* /*argument*/) override { return 0; }
  int Execute(char* line) override {
    static const Disp_CmdTableH table[] = {
        {"SAY", Say, "TEXT", "says it"}, {"ver", Version, "-", "version"}, {"idle", nullptr, "-", ""}, {}};
    return ExecCommandTableH(this, line, table);
  }
  std::string heard;

 private:
  static int Say(Component* self, char* words) { return static_cast<Echo*>(self)->heard = "say:" + Text(words), 5; }
  static int Version(Component* self, char* words) { return static_cast<Echo*>(self)->heard = "ver:" + Text(words), 1; }
  static std::string Text(const char* words) { return words; }
};

TEST(CommandTable, FirstWordNamesTheRow) {
  const struct {
    const char* line;
    int result;
    const char* heard;
  } facts[] = {{"SAY hello  world ", 5, "say:hello  world "},
               {"say", 5, "say:"},
               {"  \tVeR \t", 1, "ver:"},
               {"VER\r\n", 1, "ver:"},
               {"VERSION", 0, ""},
               {"VE", 0, ""},
               {"", 0, ""},
               {"   ", 0, ""},
               {"idle", 0, ""}};
  for (const auto& fact : facts) {
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

// Everything that a component can say; returns the answers to its questions.
std::pair<int, int> SayAll() {
  DB_Message("line");
  DB_Message(nullptr);
  const int boxAnswer = MessageBoxA(nullptr, "text", "caption", MB_OKCANCEL | MB_ICONWARNING);
  DLG_CreateLoadProgressDlg("title", 100);
  const int goesOn = DLG_SetLoadProgress(50);
  DLG_CloseLoadProgress();
  DisplayVersionInfo("Name", 0x601001D, " Build 3");
  return {boxAnswer, goesOn};
}

void Note(void* calls, const std::string& call) { static_cast<Calls*>(calls)->push_back(call); }

TEST(Messages, GoToTheHandlersOrToStandardError) {
  Calls calls;
  HostHandlers handlers;
  handlers.context = &calls;
  handlers.message = [](void* to, const char* text) { Note(to, std::string("message ") + text); };
  handlers.messageBox = [](void* to, const char* text, const char* caption, unsigned style) -> int {
    Note(to, std::string("box ") + caption + " " + text + " " + std::to_string(style));
    return IDCANCEL;
  };
  handlers.progressCreate = [](void* to, const char* title, unsigned long total) {
    Note(to, std::string("create ") + title + " " + std::to_string(total));
  };
  handlers.progressSet = [](void* to, unsigned long count) { return Note(to, "set " + std::to_string(count)), 0; };
  handlers.progressClose = [](void* to) { Note(to, "close"); };
  handlers.versionInfo = [](void* to, const char* name, unsigned long version, const char* text) {
    Note(to, name + (" " + std::to_string(version)) + text);
  };
  EXPECT_EQ(HOST_SetHandlers(handlers).context, nullptr);
  testing::internal::CaptureStderr();
  EXPECT_EQ(SayAll(), std::pair(int{IDCANCEL}, 0));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(calls, (Calls{"message line", "message ", "box caption text 49", "create title 100", "set 50", "close",
                          "Name 100728861 Build 3"}));
  EXPECT_EQ(HOST_SetHandlers({}).context, &calls);
  testing::internal::CaptureStderr();
  EXPECT_EQ(SayAll(), std::pair(int{IDOK}, 1));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "line\n\ncaption: text\nName 6.1.29 Build 3\n");
}

TEST(AbsFileDir, IsTheLastOneAndStaysReadableWhileAnotherThreadRecords) {
  SetAbsFileDir("one");
  const char* one = HOST_AbsFileDir();
  std::thread other([] {
    SetAbsFileDir("two");
    EXPECT_STREQ(HOST_AbsFileDir(), "two");
  });
  other.join();
  EXPECT_STREQ(one, "one");
  EXPECT_STREQ(HOST_AbsFileDir(), "two");
  SetAbsFileDir(nullptr);
  EXPECT_STREQ(HOST_AbsFileDir(), "");
}

class Table : public SymbolTable {
 public:
  explicit Table(Calls* calls) : calls_(calls) {}
  ~Table() override { Reset(nullptr); }

 protected:
  void ReleaseModules(DescModule* modules) override {
    calls_->push_back(std::to_string(modules->number) + (Heap() != nullptr ? " heap there" : " heap gone"));
  }

 private:
  Calls* calls_;
};

TEST(SymbolTable, ResetReleasesModulesThenHeap) {
  const size_t live = HEAP_LiveCount();
  Calls calls;
  DescModule modules[] = {{1}, {2}};
  {
    Table table(&calls);
    table.Reset(HEAP_Create(0, 0, 0));
    EXPECT_TRUE(calls.empty());  // there were no modules
    table.SetModules(&modules[0]);
    mem_desc* heap = HEAP_Create(0, 0, 0);
    table.Reset(heap);
    EXPECT_EQ(table.Heap(), heap);
    EXPECT_EQ(table.Modules(), nullptr);
    EXPECT_EQ(HEAP_LiveCount(), live + 1);
    table.SetModules(&modules[1]);
    SymbolTable plain;
    plain.Reset(HEAP_Create(0, 0, 0));
    plain.SetModules(&modules[0]);
  }
  EXPECT_EQ(calls, (Calls{"1 heap there", "2 heap there"}));
  EXPECT_EQ(HEAP_LiveCount(), live);
}

}  // namespace
