#include "session/open_failure.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tarnixcore/files.h"

namespace elfload {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string DescribeHeader(const uint8_t* header, size_t size) {
  constexpr size_t headerSize = 52;  // Elf32_Ehdr
  constexpr size_t classAt = 4;
  constexpr uint8_t class64 = 2;
  if (size == 0) return "the file is empty";
  if (size < 4 || std::memcmp(header, "\177ELF", 4) != 0) return "not an ELF file";
  if (size > classAt && header[classAt] == class64) return "a 64-bit ELF file; only 32-bit ones are read";
  if (size < headerSize) return "the ELF header is cut short";
  return "not a readable 32-bit ELF file";
}

}  // namespace

std::string FoundPath(const std::string& file) {
  char found[FE_NAME_SIZE] = {};
  const int handle = FE_FopenPath(file.c_str(), found, FE_ABSOLUTE_FILES);
  if (handle < 0) return file;
  FE_Close(handle);
  return found;
}

std::string OpenFailure(const std::string& file) {
  const std::string path = FoundPath(file);
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return "it is a folder";
  const File stream(std::fopen(path.c_str(), "rb"), std::fclose);
  if (stream == nullptr) return std::strerror(errno);
  uint8_t header[52];
  return DescribeHeader(header, std::fread(header, 1, sizeof(header), stream.get()));
}

}  // namespace elfload
