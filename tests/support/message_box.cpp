// Takes the place of the system's message box in a test program on Windows, where nobody is there to answer one, and
// hands it to the handler that the test has set.
#if defined(_WIN32)
#include <cstdio>

#include "tarnixcore/host_program.h"
#include "tarnixcore/messages.h"

namespace {

int WINAPI AnswerBox(HWND /*owner*/, LPCSTR text, LPCSTR caption, UINT style) {
  const HostHandlers handlers = HOST_SetHandlers({});
  HOST_SetHandlers(handlers);
  if (handlers.messageBox != nullptr) {
    return handlers.messageBox(handlers.context, text, caption, style);
  }
  std::fprintf(stderr, "%s: %s\n", caption, text);
  return IDOK;
}

}  // namespace

// The pointer that calls go through, found here before the linker looks into the system's import library.
#if defined(_WIN64)
extern "C" decltype(&AnswerBox) importedBox asm("__imp_MessageBoxA");
#else
extern "C" decltype(&AnswerBox) importedBox asm("__imp__MessageBoxA@16");
#endif
decltype(&AnswerBox) importedBox = AnswerBox;
#endif
