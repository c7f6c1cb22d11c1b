// File names and the search path. Both '/' and '\' separate; a drive letter with its colon belongs to the directory.
#pragma once

#include <cstdint>

#include "tarnixcore/export.h"

// Sizes of the buffers that callers pass, terminator included.
enum FE_BufferSize { FE_NAME_SIZE = 1024, FE_EXTENSION_SIZE = 256 };

// Classes of the search path.
enum FE_PathClass {
  FE_SOURCES = 0,         // ELFLOAD_SOURCES
  FE_DEBUG_FILES = 4,     // ELFLOAD_DEBUG
  FE_ABSOLUTE_FILES = 7,  // ELFLOAD_PATH
};

// Opens a regular file: `name` as it stands, then, for a relative name, in each directory of the class's path list (the
// list that FE_SetPathList gave, else the colon-separated environment variable named above; ';' separates on Windows).
// `found` (FE_NAME_SIZE characters) receives the path that was opened. A handle for FE_Close, or -1.
TARNIX_API int FE_FopenPath(const char* name, char* found, int pathClass);
TARNIX_API int FE_Close(int handle);

// Modification time of an open file in seconds, comparable with `st_mtime`; 0 when it cannot be told.
TARNIX_API uint32_t FE_FileModTimeV(int handle);

// Replaces the path list of a class by the directories in `list`, separated as in the environment; null returns to the
// environment variable.
TARNIX_API void FE_SetPathList(int pathClass, const char* list);

// The absolute path of `name` against the working directory, "." and ".." folded, cut to `size` characters.
TARNIX_API void FE_FullPath(char* out, const char* name, int size);

// Splits `path`. The directory is what stands before the last separator, without that separator unless it is a root
// ("/", "C:\"); the extension begins at the last dot behind it and holds the dot. Outputs have FE_NAME_SIZE,
// FE_NAME_SIZE and FE_EXTENSION_SIZE characters; what does not fit is cut. An output may be the same buffer as `path`.
TARNIX_API void FE_SplitFileName(const char* path, char* directory, char* name, char* extension);

// Joins directory, name and extension into `out` (FE_NAME_SIZE characters). Null or "" leaves a part out, an absolute
// name leaves the directory out, an extension gets its dot. The separator is '\' when the directory has a '\' and no
// '/'.
TARNIX_API void FE_BuildFileName(char* out, const char* directory, const char* name, const char* extension);

// The same join of directory and name, bounded by `size`. The file system is not looked at.
TARNIX_API void FE_BuildFullName(char* out, int size, const char* name, const char* directory);
