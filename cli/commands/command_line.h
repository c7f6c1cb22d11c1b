// The command line, parsed.
#pragma once

#include <optional>
#include <string>

#include "session/options.h"

namespace elfload {

// What a command line that runs no command leads to.
struct LineResult {
  ExitStatus status;
  std::string text;  // help when the status is EXIT_DONE, else what is wrong, with the user's words as they are
};

// Fills `options`, or returns what is wrong with the line or the help that it asked for.
std::optional<LineResult> ParseCommandLine(int count, const char* const* arguments, Options& options);

}  // namespace elfload
