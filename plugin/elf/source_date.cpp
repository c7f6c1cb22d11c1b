#include "elf/source_date.h"

#include <cstdio>
#include <cstring>

#include "elf/elf_image.h"
#include "tarnixcore/files.h"
#include "tarnixcore/messages.h"
#include "tarnixcore/text.h"

namespace {

constexpr char DEBUG_EXTENSION[] = ".DBG";
constexpr int AUTOTEST_ON = 1;

char ToUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Whether `name` is more than the extension .DBG, and ends in it.
bool IsDebugFile(const char* name) {
  const size_t length = std::strlen(name);
  const size_t extensionLength = sizeof(DEBUG_EXTENSION) - 1;
  if (length <= extensionLength) {
    return false;
  }
  const char* end = name + length - extensionLength;
  for (size_t i = 0; i < extensionLength; ++i) {
    if (ToUpper(end[i]) != DEBUG_EXTENSION[i]) {
      return false;
    }
  }
  return true;
}

// Opens the source as named, then by its bare name; -1 when neither is found.
int OpenSource(const char* sourceName) {
  char found[FE_NAME_SIZE] = {};
  const int handle = FE_FopenPath(sourceName, found, FE_SOURCES);
  if (handle != -1) {
    return handle;
  }
  char directory[FE_NAME_SIZE] = {};
  char name[FE_NAME_SIZE] = {};
  char extension[FE_EXTENSION_SIZE] = {};
  char bareName[FE_NAME_SIZE] = {};
  FE_SplitFileName(sourceName, directory, name, extension);
  FE_BuildFileName(bareName, nullptr, name, extension);
  return FE_FopenPath(bareName, found, IsDebugFile(bareName) ? FE_DEBUG_FILES : FE_SOURCES);
}

// 0 for a source that cannot be found.
uint32_t SourceTime(const char* sourceName) {
  const int handle = OpenSource(sourceName);
  if (handle == -1) {
    return 0;
  }
  const uint32_t time = FE_FileModTimeV(handle);
  FE_Close(handle);
  return time;
}

}  // namespace

void CheckSourceDate(ElfImage* image, const char* sourceName) {
  if (!image->file->HasModificationTime() || SourceTime(sourceName) <= image->fileTime) {
    return;
  }
  if (TE_WhichByKey("AUTOTEST", "OFF|ON", 0) == AUTOTEST_ON || image->warnOutOfDate == 0) {
    return;
  }
  // Room for the longest name that a reader keeps in a buffer; a longer one is cut.
  char message[FE_NAME_SIZE + 512];
  std::snprintf(message, sizeof(message),
                "WARNING: The file <%.*s> is more recent than the corresponding absolute file.\n     \n"
                "     Please recompile and link this source file before trying to debug.\n"
                "     Select OK to continue, CANCEL to avoid other out of date warnings for this application.",
                static_cast<int>(FE_NAME_SIZE), sourceName);
  const int answer = MessageBoxA(nullptr, message, "Elf-Loader", MB_OKCANCEL | MB_ICONINFORMATION);
  image->warnOutOfDate = answer == IDOK ? 1 : 0;
}
