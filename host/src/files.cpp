// File names as text: split, joined, made absolute. The file system is asked for the working directory only.
#include "tarnixcore/files.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "ascii.h"
#include "file_names.h"
#include "system.h"
#include "tarnixcore/text.h"

namespace {

std::string_view OrEmpty(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

// Writes `text`, cut to `size` characters with the terminator, and not a byte more: callers pass buffers that are as
// long as the result.
void CopyCut(std::string_view text, char* out, size_t size) {
  if (out != nullptr && size > 0) {
    out[text.copy(out, size - 1)] = 0;
  }
}

size_t DriveLength(std::string_view path) {
  return path.size() >= 2 && IsLetter(path[0]) && path[1] == ':' ? 2 : 0;
}

// Length of what "." and ".." cannot leave: the drive and the separator after it, or the two of a share.
size_t RootLength(std::string_view path) {
  const size_t drive = DriveLength(path);
  if (drive == 0 && path.substr(0, 2) == "\\\\") {
    return 2;
  }
  return path.size() > drive && IsSeparator(path[drive]) ? drive + 1 : drive;
}

// A path as long as a name's buffer has room for, without memory of the process's.
struct NameText {
  char letters[FE_NAME_SIZE];
  size_t length = 0;

  NameText& operator+=(std::string_view text) {
    length += text.copy(letters + length, FE_NAME_SIZE - length);
    return *this;
  }
};

template <typename Text>
void Join(Text& joined, std::string_view directory, std::string_view name, std::string_view extension) {
  if (!directory.empty() && !IsAbsolute(name)) {
    joined += directory;
    if (!IsSeparator(directory.back())) {
      const bool backslashes =
          directory.find('\\') != std::string_view::npos && directory.find('/') == std::string_view::npos;
      joined += backslashes ? "\\" : "/";
    }
  }
  joined += name;
  if (!extension.empty()) {
    joined += extension.front() != '.' ? "." : "";
    joined += extension;
  }
}

}  // namespace

bool IsSeparator(char letter) {
  return letter == '/' || letter == '\\';
}

bool IsAbsolute(std::string_view path) {
  return RootLength(path) > 0;
}

std::string JoinNames(std::string_view directory, std::string_view name, std::string_view extension) {
  std::string joined;
  joined.reserve(directory.size() + name.size() + extension.size() + 2);
  Join(joined, directory, name, extension);
  return joined;
}

std::string FoldDots(std::string_view path) {
  const size_t root = RootLength(path);
  std::string folded(path.substr(0, root));
  std::vector<size_t> starts;  // of the parts kept, with their separator
  for (size_t begin = root; begin < path.size();) {
    size_t end = begin;
    while (end < path.size() && !IsSeparator(path[end])) {
      ++end;
    }
    const std::string_view part = path.substr(begin, end - begin);
    if (part == "..") {
      if (!starts.empty()) {
        folded.resize(starts.back());
        starts.pop_back();
      }
    } else if (!part.empty() && part != ".") {
      starts.push_back(folded.size());
      if (folded.size() > root) {
        folded += path[begin - 1];
      }
      folded += part;
    }
    begin = end + 1;
  }
  return folded;
}

void FE_SplitFileName(const char* path, char* directory, char* name, char* extension) {
  const std::string_view all = OrEmpty(path);
  const size_t drive = DriveLength(all);
  const size_t separator = all.find_last_of("/\\");
  size_t directoryEnd = drive;
  size_t nameBegin = drive;
  if (separator != std::string_view::npos) {
    nameBegin = separator + 1;
    directoryEnd = separator == 0 || separator == drive ? separator + 1 : separator;
  }
  size_t dot = all.rfind('.');
  if (dot == std::string_view::npos || dot < nameBegin) {
    dot = all.size();
  }
  // An output may be the buffer that `path` is in, so all three parts are taken before one is written.
  char parts[3][FE_NAME_SIZE];
  CopyCut(all.substr(0, directoryEnd), parts[0], FE_NAME_SIZE);
  CopyCut(all.substr(nameBegin, dot - nameBegin), parts[1], FE_NAME_SIZE);
  CopyCut(all.substr(dot), parts[2], FE_EXTENSION_SIZE);
  CopyCut(parts[0], directory, FE_NAME_SIZE);
  CopyCut(parts[1], name, FE_NAME_SIZE);
  CopyCut(parts[2], extension, FE_EXTENSION_SIZE);
}

void FE_BuildFileName(char* out, const char* directory, const char* name, const char* extension) {
  NameText joined;
  Join(joined, OrEmpty(directory), OrEmpty(name), OrEmpty(extension));
  CopyCut({joined.letters, joined.length}, out, FE_NAME_SIZE);
}

void FE_BuildFullName(char* out, int size, const char* name, const char* directory) {
  const size_t room = static_cast<size_t>(std::max(size, 0));
  if (room <= FE_NAME_SIZE) {
    NameText joined;
    Join(joined, OrEmpty(directory), OrEmpty(name), "");
    CopyCut({joined.letters, joined.length}, out, room);
    return;
  }
  try {
    CopyCut(JoinNames(OrEmpty(directory), OrEmpty(name), ""), out, room);
  } catch (...) {
    CopyCut("", out, room);
  }
}

void FE_FullPath(char* out, const char* name, int size) {
  const size_t room = static_cast<size_t>(std::max(size, 0));
  try {
    const std::string_view given = OrEmpty(name);
    CopyCut(FoldDots(IsAbsolute(given) ? std::string(given) : JoinNames(WorkingDirectory(), given, "")), out, room);
  } catch (...) {
    CopyCut("", out, room);
  }
}
