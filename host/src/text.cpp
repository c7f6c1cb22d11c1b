// Bounded copies and environment keys.
#include "tarnixcore/text.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "ascii.h"

char* TU_strncpy(char* out, const char* text, int size) {
  if (size < 1) {
    return out;
  }
  const auto room = static_cast<size_t>(size) - 1;
  size_t length = 0;
  if (text != nullptr) {
    const void* end = std::memchr(text, 0, room);
    length = end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - text) : room;
    std::memmove(out, text, length);  // the two may overlap
  }
  out[length] = 0;
  return out;
}

int TE_WhichByKey(const char* key, const char* choices, int fallback) {
  if (key == nullptr || choices == nullptr) {
    return fallback;
  }
  const char* value = std::getenv(key);
  if (value == nullptr) {
    return fallback;
  }
  std::string_view rest(choices);
  for (int index = 0;; ++index) {
    const size_t bar = rest.find('|');
    if (EqualIgnoringCase(rest.substr(0, bar), value)) {
      return index;
    }
    if (bar == std::string_view::npos) {
      return fallback;
    }
    rest.remove_prefix(bar + 1);
  }
}
