#include "terminal/platform.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// after windows.h
#include <psapi.h>
#else
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <ctime>
#endif

namespace elfload {

namespace {

double WallSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

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
  _setmode(saved, _O_BINARY);  // the descriptor has a mode of its own, and starts out as text
  return _fdopen(saved, "wb");
}

void MuteStandardOutput() {
  const int nowhere = _open("NUL", _O_WRONLY);
  if (nowhere < 0) return;
  std::fflush(stdout);
  _dup2(nowhere, 1);
  _close(nowhere);
}

void SetEnvironment(const char* name, const char* value) {
  if (_putenv_s(name, value) != 0) throw std::bad_alloc();
}

bool IsTerminal(std::FILE* stream) {
  return _isatty(_fileno(stream)) != 0;
}

ProcessTimes ReadProcessTimes() {
  FILETIME created, ended, kernel, user;
  if (GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user) == 0) return {0, WallSeconds()};
  const auto seconds = [](FILETIME time) {  // counted in 100 nanoseconds
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + static_cast<double>(time.dwLowDateTime)) * 1e-7;
  };
  return {seconds(kernel) + seconds(user), WallSeconds()};
}

uint64_t ReadPeakMemory() {
  PROCESS_MEMORY_COUNTERS counters;
  if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) == 0) return 0;
  return counters.PeakWorkingSetSize;
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
  const int saved = fcntl(STDOUT_FILENO, F_DUPFD, 3);
  if (saved < 0) return nullptr;
  if (fcntl(STDERR_FILENO, F_GETFD) < 0) {  // closed by whoever started the program: messages go nowhere
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere != STDERR_FILENO) dup2(nowhere, STDERR_FILENO);
  }
  // Line by line, so that the lines are in order with those that go to standard error directly.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return fdopen(saved, "wb");
}

void MuteStandardOutput() {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) return;
  std::fflush(stdout);
  dup2(nowhere, STDOUT_FILENO);
  close(nowhere);
}

void SetEnvironment(const char* name, const char* value) {
  if (setenv(name, value, 1) != 0) throw std::bad_alloc();
}

bool IsTerminal(std::FILE* stream) {
  return isatty(fileno(stream)) != 0;
}

ProcessTimes ReadProcessTimes() {
  timespec cpu{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
  return {static_cast<double>(cpu.tv_sec) + static_cast<double>(cpu.tv_nsec) * 1e-9, WallSeconds()};
}

uint64_t ReadPeakMemory() {
  // Not from getrusage, which begins with the peak of the process that started this one.
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::strtoull(line.c_str() + 6, nullptr, 10) * 1024;  // in KiB
  }
  return 0;
}

#endif

}  // namespace elfload
