// What goes to the user: to the handlers of the host program, or to standard error.
#include "tarnixcore/messages.h"

#include <cstdio>
#include <mutex>

#include "tarnixcore/files.h"
#include "tarnixcore/host_program.h"
#include "tarnixcore/text.h"

namespace {

HostHandlers handlers;

std::mutex directoryMutex;  // two components may open files at the same time
char absFileDir[FE_NAME_SIZE] = "";

const char* OrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

HostHandlers HOST_SetHandlers(const HostHandlers& newHandlers) {
  const HostHandlers before = handlers;
  handlers = newHandlers;
  return before;
}

const char* HOST_AbsFileDir() {
  thread_local char copy[FE_NAME_SIZE];
  const std::lock_guard lock(directoryMutex);
  return TU_strncpy(copy, absFileDir, FE_NAME_SIZE);
}

void SetAbsFileDir(const char* directory) {
  const std::lock_guard lock(directoryMutex);
  TU_strncpy(absFileDir, directory, FE_NAME_SIZE);
}

void DB_Message(const char* text) {
  if (handlers.message != nullptr) {
    handlers.message(handlers.context, OrEmpty(text));
  } else {
    std::fprintf(stderr, "%s\n", OrEmpty(text));
  }
}

int MessageBoxA(void* /*owner*/, const char* text, const char* caption, unsigned style) {
  if (handlers.messageBox != nullptr) {
    return handlers.messageBox(handlers.context, OrEmpty(text), OrEmpty(caption), style);
  }
  std::fprintf(stderr, "%s: %s\n", OrEmpty(caption), OrEmpty(text));
  return IDOK;
}

void DLG_CreateLoadProgressDlg(const char* title, unsigned long total) {
  if (handlers.progressCreate != nullptr) {
    handlers.progressCreate(handlers.context, OrEmpty(title), total);
  }
}

int DLG_SetLoadProgress(unsigned long count) {
  return handlers.progressSet != nullptr ? handlers.progressSet(handlers.context, count) : 1;
}

void DLG_CloseLoadProgress() {
  if (handlers.progressClose != nullptr) {
    handlers.progressClose(handlers.context);
  }
}

void DisplayVersionInfo(const char* name, unsigned long version, const char* text) {
  if (handlers.versionInfo != nullptr) {
    handlers.versionInfo(handlers.context, OrEmpty(name), version, OrEmpty(text));
  } else {
    std::fprintf(stderr, "%s %lu.%lu.%lu%s\n", OrEmpty(name), (version >> 24) & 0xFF, (version >> 16) & 0xFF,
                 version & 0xFFFF, OrEmpty(text));
  }
}
