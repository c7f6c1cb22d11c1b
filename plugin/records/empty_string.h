// The shared empty string: every string field without a value points here, so string fields are never null.
#pragma once

inline char emptyStringStorage[1] = {};

// Never written through, never freed.
inline char* EmptyString() {
  return emptyStringStorage;
}
