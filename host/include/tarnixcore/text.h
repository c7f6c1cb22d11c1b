// Strings and environment keys.
#pragma once

#include "tarnixcore/export.h"

// Copies at most `size` - 1 characters and a terminator. A size below 1 writes nothing; a null text counts as empty.
// Gives `out`.
TARNIX_API char* TU_strncpy(char* out, const char* text, int size);

// The index, from 0, of the value of the environment variable `key` among the `choices`, which '|' separates; letters
// compare without regard to case. `fallback` when the variable is not set or is none of them.
TARNIX_API int TE_WhichByKey(const char* key, const char* choices, int fallback);
