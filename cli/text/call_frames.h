// The instructions of frame descriptions as text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "records/debug_records.h"
#include "session/expression.h"

namespace elfload {

// Decoded instructions: a line for each address that has rules, the first without an address of its own:
//   DW_CFA_def_cfa_offset: 16; DW_CFA_offset: r31 at cfa-4
//   0x000001D8  DW_CFA_advance_loc: 12; DW_CFA_restore: r31
// Offsets and steps are multiplied by the entry's alignment factors. An instruction that is not known ends the text as
// its code in parentheses, one without all of its operands as "(cut short)".
//
// A CIE is decoded once for all entries that share it, so a line does not hold its address but the distance from the
// start of the code.
class CallFrames {
 public:
  CallFrames() = default;  // no lines
  CallFrames(const uint8_t* instructions, uint32_t length, const Dwarf2Cie& cie, const ExpressionFormat& format);

  // Calls `use` with each line, for code that begins at `start`.
  template <typename Use>
  void ForEachLine(uint32_t start, Use use) const {
    for (size_t i = 0; i < lines_.size(); i++) {
      const size_t end = i + 1 < lines_.size() ? lines_[i + 1].text : text_.size();
      use(Prefix(lines_[i], start), std::string_view(text_).substr(lines_[i].text, end - lines_[i].text));
    }
  }

 private:
  friend class CallFrameDecoder;
  enum class Base : uint8_t { none, start, absolute };
  struct Line {
    size_t text;       // where its text begins
    uint32_t address;  // from the base on
    Base base;
  };
  static std::string Prefix(const Line& line, uint32_t start);

  std::string text_;
  std::vector<Line> lines_;
};

}  // namespace elfload
