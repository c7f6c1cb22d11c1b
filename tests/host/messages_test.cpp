#include "tarnixcore/messages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tarnixcore/host_program.h"

namespace {

using Calls = std::vector<std::string>;

class Messages : public testing::Test {
 protected:
  ~Messages() override { HOST_SetHandlers({}); }
  static void Note(void* test, const std::string& call) { static_cast<Messages*>(test)->calls.push_back(call); }
  Calls calls;
};

// Everything that a component can say.
void SayAll(int* boxAnswer, int* goesOn) {
  DB_Message("line");
  DB_Message(nullptr);
  *boxAnswer = MessageBoxA(nullptr, "text", "caption", MB_OKCANCEL | MB_ICONWARNING);
  DLG_CreateLoadProgressDlg("title", 100);
  *goesOn = DLG_SetLoadProgress(50);
  DLG_CloseLoadProgress();
  DisplayVersionInfo("Name", 0x601001D, " Build 3");
}

TEST_F(Messages, HandlersTakeEachKind) {
  HostHandlers handlers;
  handlers.context = this;
  handlers.message = [](void* test, const char* text) { Note(test, std::string("message ") + text); };
  handlers.messageBox = [](void* test, const char* text, const char* caption, unsigned style) -> int {
    Note(test, std::string("box ") + caption + " " + text + " " + std::to_string(style));
    return IDCANCEL;
  };
  handlers.progressCreate = [](void* test, const char* title, unsigned long total) {
    Note(test, std::string("create ") + title + " " + std::to_string(total));
  };
  handlers.progressSet = [](void* test, unsigned long count) {
    Note(test, "set " + std::to_string(count));
    return 0;
  };
  handlers.progressClose = [](void* test) { Note(test, "close"); };
  handlers.versionInfo = [](void* test, const char* name, unsigned long version, const char* text) {
    Note(test, name + (" " + std::to_string(version)) + text);
  };
  EXPECT_EQ(HOST_SetHandlers(handlers).context, nullptr);
  int boxAnswer = 0;
  int goesOn = 1;
  testing::internal::CaptureStderr();
  SayAll(&boxAnswer, &goesOn);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(calls, (Calls{"message line", "message ", "box caption text 49", "create title 100", "set 50", "close",
                          "Name 100728861 Build 3"}));
  EXPECT_EQ(boxAnswer, IDCANCEL);
  EXPECT_EQ(goesOn, 0);
  EXPECT_EQ(HOST_SetHandlers({}).context, this);
}

TEST_F(Messages, WithoutHandlersTextGoesToStandardError) {
  int boxAnswer = 0;
  int goesOn = 0;
  testing::internal::CaptureStderr();
  SayAll(&boxAnswer, &goesOn);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "line\n\ncaption: text\nName 6.1.29 Build 3\n");
  EXPECT_EQ(boxAnswer, IDOK);
  EXPECT_EQ(goesOn, 1);
}

TEST_F(Messages, AbsFileDirIsRecorded) {
  EXPECT_STREQ(HOST_AbsFileDir(), "");
  SetAbsFileDir("/a/b");
  EXPECT_STREQ(HOST_AbsFileDir(), "/a/b");
  SetAbsFileDir(nullptr);
  EXPECT_STREQ(HOST_AbsFileDir(), "");
}

}  // namespace
