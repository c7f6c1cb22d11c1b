// The name of a source file without its directories.
#pragma once

// The part after the last slash or backslash; points into `path`.
inline char* BaseNameOf(char* path) {
  char* base = path;
  for (char* c = path; *c != 0; ++c) {
    if (*c == '/' || *c == '\\') {
      base = c + 1;
    }
  }
  return base;
}
