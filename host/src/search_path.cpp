// The search for files, by class, along the path lists of the host program or of the environment.
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "file_names.h"
#include "system.h"
#include "tarnixcore/files.h"

namespace {

struct PathList {
  int pathClass;
  const char* variable;
  std::optional<std::string> directories;  // as the host program set them
};

PathList pathLists[] = {
    {FE_SOURCES, "ELFLOAD_SOURCES", {}},
    {FE_DEBUG_FILES, "ELFLOAD_DEBUG", {}},
    {FE_ABSOLUTE_FILES, "ELFLOAD_PATH", {}},
};

PathList* FindPathList(int pathClass) {
  for (PathList& list : pathLists) {
    if (list.pathClass == pathClass) {
      return &list;
    }
  }
  return nullptr;
}

std::string_view DirectoriesOf(int pathClass) {
  const PathList* list = FindPathList(pathClass);
  if (list == nullptr) {
    return {};
  }
  if (list->directories) {
    return *list->directories;
  }
  const char* value = std::getenv(list->variable);
  return value != nullptr ? std::string_view(value) : std::string_view();
}

// A path that `found` cannot hold whole counts as not found: its reader would open another file, or none.
int OpenAs(std::string_view path, char* found) {
  if (path.size() >= FE_NAME_SIZE) {
    return -1;
  }
  const std::string file(path);
  const int handle = OpenRegularFile(file.c_str());
  if (handle != -1 && found != nullptr) {
    std::memcpy(found, file.c_str(), file.size() + 1);
  }
  return handle;
}

int Search(std::string_view name, char* found, int pathClass) {
  const int handle = OpenAs(name, found);
  if (handle != -1 || IsAbsolute(name)) {
    return handle;
  }
  for (std::string_view rest = DirectoriesOf(pathClass); !rest.empty();) {
    const size_t end = rest.find(PATH_LIST_SEPARATOR);
    const std::string_view directory = rest.substr(0, end);
    const int inDirectory = directory.empty() ? -1 : OpenAs(JoinNames(directory, name, ""), found);
    if (inDirectory != -1) {
      return inDirectory;
    }
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return -1;
}

}  // namespace

int FE_FopenPath(const char* name, char* found, int pathClass) {
  if (name == nullptr || *name == 0) {
    return -1;
  }
  try {
    const std::string wanted(name);  // `found` may be the buffer that `name` is in
    return Search(wanted, found, pathClass);
  } catch (...) {
    return -1;  // no memory
  }
}

int FE_Close(int handle) {
  return handle == -1 ? -1 : CloseFile(handle);
}

uint32_t FE_FileModTimeV(int handle) {
  return handle == -1 ? 0 : FileModificationTime(handle);
}

void FE_SetPathList(int pathClass, const char* list) {
  PathList* entry = FindPathList(pathClass);
  if (entry == nullptr) {
    return;
  }
  entry->directories.reset();
  if (list != nullptr) {
    try {
      entry->directories = list;
    } catch (...) {
      entry->directories.reset();
    }
  }
}
