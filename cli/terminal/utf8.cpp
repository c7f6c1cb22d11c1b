#include "terminal/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace elfload {

namespace {

// Lead bytes with the range of the byte that follows them; all further bytes are 0x80 to 0xBF.
struct LeadRow {
  uint8_t first, last;      // lead bytes
  uint8_t trailing;         // bytes after the lead byte
  uint8_t lowest, highest;  // of the first of them
};
constexpr LeadRow leadRows[] = {
    {0x00, 0x7F, 0, 0x00, 0x00},  // ASCII
    {0xC2, 0xDF, 1, 0x80, 0xBF},  // 0xC0 and 0xC1 would be long forms of ASCII
    {0xE0, 0xE0, 2, 0xA0, 0xBF},  // below 0xA0: long forms
    {0xE1, 0xEC, 2, 0x80, 0xBF},  //
    {0xED, 0xED, 2, 0x80, 0x9F},  // above 0x9F: surrogates
    {0xEE, 0xEF, 2, 0x80, 0xBF},  //
    {0xF0, 0xF0, 3, 0x90, 0xBF},  // below 0x90: long forms
    {0xF1, 0xF3, 3, 0x80, 0xBF},  //
    {0xF4, 0xF4, 3, 0x80, 0x8F},  // above 0x8F: above U+10FFFF
};

const LeadRow* FindLeadRow(uint8_t lead) {
  for (const LeadRow& row : leadRows) {
    if (lead >= row.first && lead <= row.last) return &row;
  }
  return nullptr;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  const auto byte = [text](size_t at) { return static_cast<uint8_t>(text[at]); };
  size_t at = 0;
  while (at < text.size()) {
    const LeadRow* row = FindLeadRow(byte(at++));
    if (row == nullptr || row->trailing > text.size() - at) return false;
    for (unsigned i = 0; i < row->trailing; i++, at++) {
      const uint8_t lowest = i == 0 ? row->lowest : 0x80;
      const uint8_t highest = i == 0 ? row->highest : 0xBF;
      if (byte(at) < lowest || byte(at) > highest) return false;
    }
  }
  return true;
}

std::string WidenToUtf8(std::string_view text) {
  std::string wide;
  wide.reserve(text.size() * 2);
  for (const char c : text) {
    const auto byte = static_cast<uint8_t>(c);
    if (byte < 0x80) {
      wide.push_back(c);
    } else {
      wide.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      wide.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
  return wide;
}

std::string Printable(std::string_view text) {
  const auto isControl = [](char c) { return static_cast<uint8_t>(c) < 0x20 || c == 0x7F; };
  std::string shown = IsUtf8(text) ? std::string(text) : WidenToUtf8(text);
  if (std::none_of(shown.begin(), shown.end(), isControl)) return shown;
  std::string escaped;
  for (const char c : shown) {
    if (isControl(c)) {
      escaped += fmt::format("\\x{:02X}", static_cast<unsigned>(c));
    } else {
      escaped.push_back(c);
    }
  }
  return escaped;
}

}  // namespace elfload
