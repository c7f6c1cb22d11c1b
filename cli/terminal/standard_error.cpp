#include "terminal/standard_error.h"

#include <cstdio>
#include <exception>

namespace elfload {

void PrintErrorLine(std::string_view prefix, fmt::string_view format, fmt::format_args arguments) noexcept {
  try {
    fmt::memory_buffer line;
    line.append(prefix);
    fmt::vformat_to(fmt::appender(line), format, arguments);
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stderr);
  } catch (const std::exception&) {
    std::fputs("elfload: out of memory\n", stderr);
  }
}

}  // namespace elfload
