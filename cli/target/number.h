// Numbers in options and descriptions: decimal, or hexadecimal after "0x".
#pragma once

#include <charconv>
#include <string_view>

namespace elfload {

// False for text that is not a number, or one that is too large for `value`.
template <typename Unsigned>
bool ParseNumber(std::string_view text, Unsigned& value) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  text.remove_prefix(isHex ? 2 : 0);
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, isHex ? 16 : 10);
  return error == std::errc() && stop == end;
}

}  // namespace elfload
