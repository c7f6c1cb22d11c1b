// Colours of the text on a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace elfload {

class Output;

enum class ColorChoice : uint8_t { automatic, always, never };
enum class Paint : uint8_t { heading, name, address, faint };

class Palette {
 public:
  // Colours as the user chose; by default on a terminal, unless NO_COLOR is set.
  Palette(ColorChoice choice, const Output& out);

  // `text` in a style, unchanged without colours.
  std::string operator()(Paint paint, std::string_view text) const;

 private:
  bool isColored_;
};

}  // namespace elfload
