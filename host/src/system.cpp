#include "system.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "tarnixcore/memory.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

#if defined(_WIN32)
using FileStatus = struct _stat64;
int StatusOfHandle(int handle, FileStatus* status) {
  return _fstat64(handle, status);
}
int StatusOfPath(const char* path, FileStatus* status) {
  return _stat64(path, status);
}
int OpenToRead(const char* path) {
  return _open(path, _O_RDONLY | _O_BINARY | _O_NOINHERIT);
}
int CloseHandleOfFile(int handle) {
  return _close(handle);
}
bool IsRegular(const FileStatus& status) {
  return (status.st_mode & _S_IFMT) == _S_IFREG;
}
#else
using FileStatus = struct stat;
int StatusOfHandle(int handle, FileStatus* status) {
  return fstat(handle, status);
}
int StatusOfPath(const char* path, FileStatus* status) {
  return stat(path, status);
}
// A pipe without a writer must not block the search; regular files know no such wait.
int OpenToRead(const char* path) {
  return open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}
int CloseHandleOfFile(int handle) {
  return close(handle);
}
bool IsRegular(const FileStatus& status) {
  return S_ISREG(status.st_mode);
}
#endif

}  // namespace

int OpenRegularFile(const char* path) {
  // Asked first, since opening a device may change it, and again of what was opened.
  FileStatus status{};
  if (StatusOfPath(path, &status) != 0 || !IsRegular(status)) {
    return -1;
  }
  const int handle = OpenToRead(path);
  if (handle == -1) {
    return -1;
  }
  if (StatusOfHandle(handle, &status) != 0 || !IsRegular(status)) {
    CloseHandleOfFile(handle);
    return -1;
  }
  return handle;
}

int CloseFile(int handle) {
  return CloseHandleOfFile(handle);
}

uint32_t FileModificationTime(int handle) {
  FileStatus status{};
  return StatusOfHandle(handle, &status) == 0 ? static_cast<uint32_t>(status.st_mtime) : 0;
}

std::string WorkingDirectory() {
  std::error_code error;
  const std::filesystem::path directory = std::filesystem::current_path(error);
  return error ? std::string() : directory.string();
}

void PrepareMemory([[maybe_unused]] void* memory, [[maybe_unused]] size_t size) {
#if defined(MADV_POPULATE_WRITE)
  static const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t skipped = (page - reinterpret_cast<uintptr_t>(memory) % page) % page;
  if (size >= skipped + page) {
    madvise(static_cast<char*>(memory) + skipped, (size - skipped) / page * page, MADV_POPULATE_WRITE);
  }
#endif
}

#if defined(__linux__)

void* MapMemory(size_t size) {
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory != MAP_FAILED ? memory : nullptr;
}

void UnmapMemory(void* memory, size_t size) {
  munmap(memory, size);
}

void DiscardPages(void* memory, size_t size) {
  madvise(memory, size, MADV_DONTNEED);
}

#else

void* MapMemory(size_t /*size*/) {
  return nullptr;
}

void UnmapMemory(void* /*memory*/, size_t /*size*/) {}

void DiscardPages(void* /*memory*/, size_t /*size*/) {}

#endif
