#include "terminal/palette.h"

#include <fmt/format.h>

#include <cstdlib>
#include <cstring>

#include "terminal/output.h"

namespace elfload {

namespace {

bool IsColored(ColorChoice choice, const Output& out) {
  if (choice != ColorChoice::automatic) return choice == ColorChoice::always;
  const char* noColor = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  if (noColor != nullptr && *noColor != '\0') return false;
  return out.IsTerminal() && (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

}  // namespace

Palette::Palette(ColorChoice choice, const Output& out) : isColored_(IsColored(choice, out)) {}

std::string Palette::operator()(Paint paint, std::string_view text) const {
  constexpr const char* codes[] = {"1;36", "1", "33", "2"};  // by Paint
  if (!isColored_) return std::string(text);
  return fmt::format("\033[{}m{}\033[0m", codes[static_cast<size_t>(paint)], text);
}

}  // namespace elfload
