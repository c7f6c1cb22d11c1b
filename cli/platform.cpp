#include "platform.h"

#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace elfload {

#if defined(_WIN32)

std::string ProgramFolder() {
  char path[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
  const std::string program(path, length < MAX_PATH ? length : 0);
  return program.substr(0, program.find_last_of("\\/") + 1);
}

std::string ModuleFileName(const std::string& name) {
  return name + ".dll";
}

void* OpenModule(const std::string& path, std::string& error) {
  void* module = LoadLibraryA(path.c_str());
  if (module == nullptr) {
    error = "error " + std::to_string(GetLastError());
  }
  return module;
}

void* ModuleSymbol(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

std::FILE* TakeStandardOutput() {
  const int saved = _dup(1);
  if (saved < 0 || _dup2(2, 1) < 0) return nullptr;
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  return _fdopen(saved, "wb");
}

bool IsTerminal(std::FILE* stream) {
  return _isatty(_fileno(stream)) != 0;
}

#else

std::string ProgramFolder() {
  std::string path(256, '\0');
  for (;;) {
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) return "";
    if (static_cast<size_t>(length) < path.size()) {
      path.resize(static_cast<size_t>(length));
      return path.substr(0, path.rfind('/') + 1);
    }
    path.resize(path.size() * 2);  // it may have been cut
  }
}

std::string ModuleFileName(const std::string& name) {
  return name + ".so";
}

void* OpenModule(const std::string& path, std::string& error) {
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "unknown error";
  }
  return module;
}

void* ModuleSymbol(void* module, const char* name) {
  return dlsym(module, name);
}

std::FILE* TakeStandardOutput() {
  const int saved = dup(STDOUT_FILENO);
  if (saved < 0) return nullptr;
  // Line by line, so that the lines stand among those that go to standard error directly.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return fdopen(saved, "wb");
}

bool IsTerminal(std::FILE* stream) {
  return isatty(fileno(stream)) != 0;
}

#endif

}  // namespace elfload
