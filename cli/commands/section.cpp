// elfload section: the bytes of a section, asked of the component by name.
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "commands/commands.h"
#include "loader/elf_loader.h"
#include "session/elf_tables.h"
#include "session/open_failure.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"
#include "text/nearest_name.h"

namespace elfload {

namespace {

void ComplainOfSection(const Options& options) {
  const ElfTables tables = ReadElfTables(FoundPath(options.file));
  NearestName nearest(options.section);
  for (const ElfSection& section : tables.sections) {
    if (section.name == options.section) {
      Complain("section {} has no bytes in the file", Printable(options.section));
      return;
    }
    nearest.Offer(section.name);
  }
  Complain("no section {}{}", Printable(options.section), nearest.Question("; `elfload info` lists the sections"));
}

// Reads the section in two requests, size first. Empty, with a line on standard error, when there is nothing to read.
std::vector<char> ReadSection(ObjFileLoader& loader, const Options& options) {
  std::vector<char> name(options.section.begin(), options.section.end());
  name.push_back('\0');
  const std::string shown = Printable(options.section);
  Argument argument{name.data(), 0, nullptr};
  if (loader.Execute(REQUEST_SECTION_BY_NAME, &argument) == 0 || argument.size == 0) {
    ComplainOfSection(options);
    return {};
  }
  // A damaged header, or a section without bytes such as .bss, may claim any size.
  std::error_code error;
  const uintmax_t fileSize = std::filesystem::file_size(FoundPath(options.file), error);
  if (error || argument.size > fileSize) {
    Complain("section {} has {} bytes, more than the file holds", shown, argument.size);
    return {};
  }
  std::vector<char> bytes(argument.size);
  argument.buffer = bytes.data();
  if (loader.Execute(REQUEST_SECTION_BY_NAME, &argument) == 0) {
    Complain("section {} cannot be read", shown);
    return {};
  }
  return bytes;
}

ExitStatus WriteFile(const std::string& path, const std::vector<char>& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  bool isWritten = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const int reason = errno;
  if (file != nullptr) isWritten = (std::fclose(file) == 0) && isWritten;
  if (isWritten) return EXIT_DONE;
  Complain("cannot write {}: {}", Printable(path), std::strerror(reason));
  return EXIT_REFUSED;
}

}  // namespace

ExitStatus RunSection(Session& session, const Options& options, Output& out) {
  if (session.Open() == 0) return EXIT_REFUSED;
  const std::vector<char> bytes = ReadSection(*session.Loader(), options);
  if (bytes.empty()) return EXIT_REFUSED;
  if (!options.outputFile.empty()) return WriteFile(options.outputFile, bytes);
  out.Write(bytes.data(), bytes.size());
  return EXIT_DONE;
}

}  // namespace elfload
