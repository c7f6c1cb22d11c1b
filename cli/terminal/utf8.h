// Text of unknown encoding as UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace elfload {

// Whether `text` is valid UTF-8: shortest forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view text);

// `text` with every byte from 0x80 on as the character U+0080 to U+00FF of the same number.
std::string WidenToUtf8(std::string_view text);

// `text` for people: valid UTF-8, so that no name in a file can steer a terminal. Control characters and bytes that are
// no UTF-8 are written as \x1B; from U+0080 on control characters, marks of direction and separators of lines as
// \u202E.
std::string Printable(std::string_view text);

// A name in a table: Printable, and dots after the first 1,000 characters. Null is the empty name.
std::string PrintableName(std::string_view name);
std::string PrintableName(const char* name);

}  // namespace elfload
