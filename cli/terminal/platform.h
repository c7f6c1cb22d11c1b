// What the program asks of the operating system: where it is, shared modules, its standard output, terminals. All
// calls that differ between systems are here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "tarnixcore/memory.h"  // PrepareMemory

namespace elfload {

// The folder of the running program, with a separator at its end; empty when the system does not say.
std::string ProgramFolder();

// File name of a shared module: `name` with the system's suffix.
std::string ModuleFileName(const std::string& name);

// Loads a shared module. Null with the system's reason in `error` when that fails.
void* OpenModule(const std::string& path, std::string& error);

// The address of an exported function, or null.
void* ModuleSymbol(void* module, const char* name);

// Moves the process's standard output aside: the stream returned is what standard output was, and what anything else in
// the process prints on standard output goes to standard error from now on. Null when there is no standard output.
std::FILE* TakeStandardOutput();

// What else in the process prints on standard output goes nowhere from now on, once TakeStandardOutput moved it aside.
void MuteStandardOutput();

// Sets a variable of the process's environment. Throws std::bad_alloc when there is no memory for it.
void SetEnvironment(const char* name, const char* value);

// Whether a stream is a terminal.
bool IsTerminal(std::FILE* stream);

// What the process has used: processor time, and the time of a clock that starts anywhere.
struct ProcessTimes {
  double cpuSeconds = 0;
  double wallSeconds = 0;
};
ProcessTimes ReadProcessTimes();

// The largest amount of memory that the process has held at a time, in bytes; 0 when the system does not say.
uint64_t ReadPeakMemory();

}  // namespace elfload
