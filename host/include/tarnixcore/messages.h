// What a component shows the user: lines, boxes, progress, version. Each goes to the handler that the host program has
// set (tarnixcore/host_program.h), or to standard error if there is none. Handlers run on the calling thread. A null
// text counts as "".
#pragma once

#include "tarnixcore/export.h"

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// The system has a function of this name, which asks no handler. Whoever includes this header calls the library's.
#define MessageBoxA HOST_MessageBoxA
#else
enum MessageBoxStyle : unsigned {
  MB_OK = 0x00,
  MB_OKCANCEL = 0x01,
  MB_ICONWARNING = 0x30,
  MB_ICONINFORMATION = 0x40,
};
enum MessageBoxResult { IDOK = 1, IDCANCEL = 2 };
#endif

// A modal box. `owner` is null, `style` is a sum of MB_ values. Returns IDOK or IDCANCEL; without a handler the caption
// and the text go to standard error, and the result is IDOK.
TARNIX_API int MessageBoxA(void* owner, const char* text, const char* caption, unsigned style);

// Shows a line to the user.
TARNIX_API void DB_Message(const char* text);

// The progress dialog of a download: opened with the total in bytes, set to the bytes done, closed.
// DLG_SetLoadProgress returns 0 when the user has cancelled, else 1. Without a handler nothing is shown.
TARNIX_API void DLG_CreateLoadProgressDlg(const char* title, unsigned long total);
TARNIX_API int DLG_SetLoadProgress(unsigned long count);
TARNIX_API void DLG_CloseLoadProgress();

// Shows a component's name, version (a byte, a byte, 16 bits) and a text such as the build number.
TARNIX_API void DisplayVersionInfo(const char* name, unsigned long version, const char* text);

// Records the directory of the absolute file, for HOST_AbsFileDir. At most FE_NAME_SIZE - 1 characters are kept.
TARNIX_API void SetAbsFileDir(const char* directory);
