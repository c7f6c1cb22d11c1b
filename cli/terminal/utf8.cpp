#include "terminal/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace elfload {

namespace {

constexpr size_t longestName = 1000;  // characters

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

// Bytes of the character that `text` begins with; 0 when it is not valid.
size_t CharacterSize(std::string_view text) {
  const LeadRow* row = FindLeadRow(static_cast<uint8_t>(text[0]));
  if (row == nullptr || row->trailing >= text.size()) return 0;
  for (size_t at = 1; at <= row->trailing; at++) {
    const auto byte = static_cast<uint8_t>(text[at]);
    if (byte < (at == 1 ? row->lowest : 0x80) || byte > (at == 1 ? row->highest : 0xBF)) return 0;
  }
  return size_t{1} + row->trailing;
}

// The number of a valid character.
uint32_t CodePoint(std::string_view character) {
  const auto lead = static_cast<uint8_t>(character[0]);
  if (character.size() == 1) return lead;
  uint32_t code = lead & (0x7Fu >> character.size());
  for (const char c : character.substr(1)) code = code << 6 | (static_cast<uint8_t>(c) & 0x3F);
  return code;
}

// Characters that do something to a terminal, or to the order and the lines of the text after them.
struct CodeRange {
  uint32_t first, last;
};
constexpr CodeRange steeringRanges[] = {
    {0x0000, 0x001F},  // C0
    {0x007F, 0x009F},  // delete, C1
    {0x061C, 0x061C},  // Arabic letter mark
    {0x200E, 0x200F},  // left-to-right and right-to-left marks
    {0x2028, 0x202E},  // separators of lines and paragraphs; embeddings, overrides
    {0x2066, 0x2069},  // isolates
};

bool Steers(uint32_t code) {
  return std::any_of(std::begin(steeringRanges), std::end(steeringRanges),
                     [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

// Up to `most` characters of `text`, and dots where there are more.
std::string Escaped(std::string_view text, size_t most) {
  std::string shown;
  for (size_t count = 0; !text.empty(); count++) {
    if (count == most) return shown + "...";
    const size_t size = CharacterSize(text);
    const std::string_view character = text.substr(0, size != 0 ? size : 1);
    const uint32_t code = size != 0 ? CodePoint(character) : static_cast<uint8_t>(text[0]);
    if (size != 0 && !Steers(code)) {
      shown += character;
    } else {
      shown += size > 1 ? fmt::format("\\u{:04X}", code) : fmt::format("\\x{:02X}", code);
    }
    text.remove_prefix(character.size());
  }
  return shown;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t size = CharacterSize(text);
    if (size == 0) return false;
    text.remove_prefix(size);
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
  return Escaped(text, text.size());
}

std::string PrintableName(std::string_view name) {
  return Escaped(name, longestName);
}

std::string PrintableName(const char* name) {
  constexpr size_t enough = (longestName + 1) * 4;  // bytes, of the longest characters
  return name != nullptr ? PrintableName(std::string_view(name, strnlen(name, enough))) : "";
}

}  // namespace elfload
