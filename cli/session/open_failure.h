// Why a file cannot be opened, in words for its user.
#pragma once

#include <string>

namespace elfload {

// The reason, as far as the file shows it: "No such file or directory", "it is a folder", "a 64-bit ELF file". The
// loader itself only says that it did not open the file.
std::string OpenFailure(const std::string& file);

// The path that the search for absolute files finds `file` under; `file` itself when it finds none.
std::string FoundPath(const std::string& file);

}  // namespace elfload
