// Lines on standard error. They never throw: when standard error cannot be written there is nobody left to ask.
//
//   Complain("no unit {}", Printable(which));     // "elfload: no unit main.c; ..."
//   PrintError("{}: filled nothing", what);       // the line as it is
#pragma once

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace elfload {

// Writes the line `prefix` + `format` + a line end.
void PrintErrorLine(std::string_view prefix, fmt::string_view format, fmt::format_args arguments) noexcept;

// A message of the program's own.
template <typename... Arguments>
void Complain(fmt::format_string<Arguments...> format, Arguments&&... arguments) noexcept {
  PrintErrorLine("elfload: ", format, fmt::make_format_args(arguments...));
}

// A line of somebody else, such as the loader.
template <typename... Arguments>
void PrintError(fmt::format_string<Arguments...> format, Arguments&&... arguments) noexcept {
  PrintErrorLine("", format, fmt::make_format_args(arguments...));
}

}  // namespace elfload
