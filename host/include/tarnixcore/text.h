// Strings and environment keys.
#pragma once

#include "tarnixcore/export.h"

// Copies at most `size` - 1 characters of `text` and a terminator to `out`, and returns `out`. A size below 1 writes
// nothing. A null text counts as "". The two may overlap.
TARNIX_API char* TU_strncpy(char* out, const char* text, int size);

// The value of the environment variable `key` as an index, from 0, into `choices`, which '|' separates. Letters compare
// without regard to case. `fallback` when the variable is not set or is none of the choices, or an argument is null.
TARNIX_API int TE_WhichByKey(const char* key, const char* choices, int fallback);
