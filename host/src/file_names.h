// File names as strings, for the library's own sources.
#pragma once

#include <string>
#include <string_view>

bool IsSeparator(char letter);

// Begins with a separator or a drive.
bool IsAbsolute(std::string_view path);

// Directory, separator, name, extension, joined as FE_BuildFileName does.
std::string JoinNames(std::string_view directory, std::string_view name, std::string_view extension);

// Drops "." and double separators and lets ".." take the part before it, but no root. The other separators stay.
std::string FoldDots(std::string_view path);
