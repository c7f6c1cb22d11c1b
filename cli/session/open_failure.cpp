#include "session/open_failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "session/elf_tables.h"
#include "tarnixcore/files.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Sections that say where the debug information is, for a file that has none to read.
struct SectionRow {
  std::string_view name;  // the beginning of it
  const char* text;
  bool hasFileName = false;  // its bytes begin with the name of a file, which the text has a place for
};
constexpr SectionRow sectionRows[] = {
    {".zdebug_", "the section is compressed; decompress it: objcopy --decompress-debug-sections"},
    {".gnu_debuglink", "the debug information is in file {}; give that one", true},
    {".debug_info.dwo", "there are only units split from their program; build it without -gsplit-dwarf"},
};

// `path` is a regular file, so nothing waits here.
std::string ReadBytes(const std::string& path, long offset, size_t count) {
  const File stream(std::fopen(path.c_str(), "rb"), std::fclose);
  std::string bytes(count, '\0');
  if (stream == nullptr || std::fseek(stream.get(), offset, SEEK_SET) != 0) return "";
  bytes.resize(std::fread(bytes.data(), 1, count, stream.get()));
  return bytes;
}

FailureReason ReasonOf(std::string text) {
  return {std::move(text), "", "", std::nullopt};
}

FailureReason ReasonOf(const SectionRow& row, const ElfSection& section, const std::string& path) {
  constexpr size_t longestName = 256;
  std::string text = row.text;
  if (row.hasFileName) {
    std::string name = ReadBytes(path, static_cast<long>(section.offset), std::min<size_t>(section.size, longestName));
    name.resize(std::min(name.find('\0'), name.size()));
    if (name.empty()) name = "(its name is missing)";
    text = fmt::format(fmt::runtime(row.text), name);
  }
  return {text, "", std::string(section.name), std::nullopt};
}

}  // namespace

std::string FoundPath(const std::string& file) {
  char found[FE_NAME_SIZE] = {};
  const int handle = FE_FopenPath(file.c_str(), found, FE_ABSOLUTE_FILES);
  if (handle < 0) return file;
  FE_Close(handle);
  return found;
}

OpenFailure ExplainOpen(const std::string& file, const std::optional<FailureReason>& reason) {
  const std::string path = FoundPath(file);
  if (std::string kind = KindOfPlace(path); !kind.empty()) return {ReasonOf(std::move(kind)), false};
  const File stream(std::fopen(path.c_str(), "rb"), std::fclose);
  if (stream == nullptr) return {ReasonOf(std::strerror(errno)), false};
  const std::string start = ReadBytes(path, 0, KIND_BYTES);
  if (std::string kind = KindByContent(start); !kind.empty()) return {ReasonOf(std::move(kind)), true};
  const ElfType type = TypeByContent(start);
  if (type == ElfType::object || type == ElfType::core) return {ReasonOf(TypeText(type)), true};
  return {reason.value_or(ReasonOf("not a readable 32-bit ELF file")), true};
}

FailureReason ExplainNoDebugInformation(const std::string& file) {
  const std::string path = FoundPath(file);
  const ElfTables tables = ReadElfTables(path);
  for (const SectionRow& row : sectionRows) {
    for (const ElfSection& section : tables.sections) {
      if (section.name.substr(0, row.name.size()) == row.name) return ReasonOf(row, section, path);
    }
  }
  const ElfType type = TypeOfFile(file);
  if (type == ElfType::core) return ReasonOf(TypeText(type));
  return ReasonOf(fmt::format("{}there is no debug information; compile with -g, and do not strip the file",
                              type == ElfType::sharedLibrary ? "a shared library: " : ""));
}

ElfType TypeOfFile(const std::string& file) {
  const std::string path = FoundPath(file);
  return KindOfPlace(path).empty() ? TypeByContent(ReadBytes(path, 0, KIND_BYTES)) : ElfType::none;
}

std::string OpenFailureText(const std::string& file, const OpenFailure& failure) {
  return fmt::format("{}{}: {}", failure.isRead ? "" : "cannot read ", Printable(file), FailureText(failure.reason));
}

}  // namespace elfload
