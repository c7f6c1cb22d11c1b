// Letters and blanks of ASCII, whatever the locale says.
#pragma once

#include <algorithm>
#include <string_view>

inline char ToLower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

inline bool IsLetter(char letter) {
  const char lower = ToLower(letter);
  return lower >= 'a' && lower <= 'z';
}

inline bool IsBlank(char letter) {
  return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

inline bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char left, char right) { return ToLower(left) == ToLower(right); });
}
