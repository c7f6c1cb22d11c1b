// The few calls of the operating system that the library needs, in one place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Separates the directories of a path list.
#if defined(_WIN32)
constexpr char PATH_LIST_SEPARATOR = ';';
#else
constexpr char PATH_LIST_SEPARATOR = ':';
#endif

// Opens a regular file for reading, in binary. -1 for anything else: a folder, a pipe and a device are not opened.
int OpenRegularFile(const char* path);

// 0 when closed.
int CloseFile(int handle);

// In seconds, as `st_mtime`; 0 when it is not known.
uint32_t FileModificationTime(int handle);

// Memory of whole pages, all 0, straight from the system; null where there is none or the system has no such call. The
// pages are found when they are touched.
#if defined(__linux__)
constexpr bool CAN_MAP_MEMORY = true;
#else
constexpr bool CAN_MAP_MEMORY = false;
#endif
void* MapMemory(size_t size);

// Returns mapped memory to the system, the whole of what MapMemory returned.
void UnmapMemory(void* memory, size_t size);

// Returns the pages of mapped memory to the system and leaves the memory usable, all 0.
void DiscardPages(void* memory, size_t size);

// Without a trailing separator unless it is a root; empty when it is not known.
std::string WorkingDirectory();
