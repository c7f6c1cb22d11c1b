// File names and the search path. Both '/' and '\' are separators. A letter and a colon at the start of a path are a
// drive, which belongs to the directory. A null name counts as "".
#pragma once

#include <cstdint>

#include "tarnixcore/export.h"

// Sizes of the buffers that callers pass, in characters, terminator included.
enum FE_BufferSize { FE_NAME_SIZE = 1024, FE_EXTENSION_SIZE = 256 };

// Classes of the search path, with the environment variable of each.
enum FE_PathClass {
  FE_SOURCES = 0,         // ELFLOAD_SOURCES
  FE_DEBUG_FILES = 4,     // ELFLOAD_DEBUG
  FE_ABSOLUTE_FILES = 7,  // ELFLOAD_PATH
};

// Opens a regular file for reading: `name` as it is, then, if it is relative, in each directory of the path list of
// `pathClass`. That is the list of FE_SetPathList, else of the environment variable, whose directories ':' separates
// (';' on Windows). Any other class has no directories.
// Returns a handle for FE_Close and copies the path that was opened to `found`, which has FE_NAME_SIZE characters or is
// null. Returns -1, and leaves `found` alone, when no such file can be opened, its path has FE_NAME_SIZE characters or
// more, or there is no memory.
TARNIX_API int FE_FopenPath(const char* name, char* found, int pathClass);

// Closes a handle of FE_FopenPath. 0 when closed, else -1.
TARNIX_API int FE_Close(int handle);

// The modification time of an open file, in seconds since 1970 as `st_mtime` (its low 32 bits); 0 when it is not known.
TARNIX_API uint32_t FE_FileModTimeV(int handle);

// Replaces the path list of a class by the directories in `list`, separated as in the environment. Null, or no memory,
// brings the environment variable back. Other classes are ignored. Call it while no component runs in another thread.
TARNIX_API void FE_SetPathList(int pathClass, const char* list);

// Writes the absolute path of `name` to `out`: joined to the working directory if it is relative, "." and ".." folded,
// cut to `size` characters. "" when there is no memory. A size below 1 writes nothing.
TARNIX_API void FE_FullPath(char* out, const char* name, int size);

// Splits `path` in three. The directory is all before the last separator, without that separator unless it is a root
// ("/", "C:\"). The extension begins with the last dot after the separator. Outputs have FE_NAME_SIZE, FE_NAME_SIZE and
// FE_EXTENSION_SIZE characters; longer parts are cut. An output may be null, or the buffer of `path`.
TARNIX_API void FE_SplitFileName(const char* path, char* directory, char* name, char* extension);

// Joins directory, name and extension in `out`, which has FE_NAME_SIZE characters, or as many as the result if that is
// shorter. A null or empty part is left out, an absolute name leaves the directory out, an extension without a dot gets
// one. The separator is '\' when the directory has a '\' and no '/', else '/'; there is none after a directory that
// ends in one. `out` may be the buffer of a part.
TARNIX_API void FE_BuildFileName(char* out, const char* directory, const char* name, const char* extension);

// The same join of directory and name, cut to `size` characters; below 1 nothing is written. "" when `size` is above
// FE_NAME_SIZE and there is no memory. The file system is not asked.
TARNIX_API void FE_BuildFullName(char* out, int size, const char* name, const char* directory);
