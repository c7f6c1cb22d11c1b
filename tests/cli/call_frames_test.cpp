#include "text/call_frames.h"

#include <gtest/gtest.h>

namespace elfload {
namespace {

using Texts = std::vector<std::string>;

Texts Lines(const CallFrames& frames) {
  Texts lines;
  frames.ForEachLine(0x1000, [&lines](const std::string& address, std::string_view text) {
    lines.push_back(address + std::string(text));
  });
  return lines;
}

// What compilers write is compared with another decoder over whole files; here is what they do not write.
TEST(CallFrames, ShowWhatFilesSeldomHold) {
  const struct {
    const char* what;
    bool littleEndian;
    std::vector<uint8_t> bytes;
    Texts lines;
  } facts[] = {
      // clang-format off
      {"nothing", false, {}, {}},
      {"padding alone", false, {0, 0}, {}},
      {"padding between", false, {0x00, 0x0A, 0x00}, {"DW_CFA_nop; DW_CFA_remember_state"}},
      {"a last operand of 0", false, {0x0E, 0x00}, {"DW_CFA_def_cfa_offset: 0"}},
      {"a first step", false, {0x41, 0x0B}, {"0x00001004  DW_CFA_advance_loc: 4; DW_CFA_restore_state"}},
      {"steps of two bytes", false, {0x07, 0x03, 0x03, 0x01, 0x00, 0x08, 0x05},
       {"DW_CFA_undefined: r3", "0x00001400  DW_CFA_advance_loc2: 1024; DW_CFA_same_value: r5"}},
      {"the other byte order", true, {0x01, 0x44, 0x33, 0x22, 0x11, 0x04, 2, 0, 0, 0, 0xC3},
       {"0x11223344  DW_CFA_set_loc: 0x11223344", "0x1122334C  DW_CFA_advance_loc4: 8; DW_CFA_restore: r3"}},
      {"registers", false, {0x09, 1, 2, 0x2F, 3, 2, 0x15, 4, 0x7F},
       {"DW_CFA_register: r1 in r2; DW_CFA_GNU_negative_offset_extended: r3 at cfa+8; "
        "DW_CFA_val_offset_sf: r4 at cfa+4"}},
      {"expressions", false, {0x16, 7, 2, 0x77, 0x10, 0x0F, 0x01, 0x30},
       {"DW_CFA_val_expression: r7 (DW_OP_breg7 16); DW_CFA_def_cfa_expression: (DW_OP_lit0)"}},
      {"cut short", false, {0xC3, 0x03, 0x01}, {"DW_CFA_restore: r3; DW_CFA_advance_loc2 (cut short)"}},
      {"an endless number", false, {0x0E, 0x80, 0x80}, {"DW_CFA_def_cfa_offset (cut short)"}},
      {"a block past the end", false, {0x0F, 0x09, 0x30}, {"DW_CFA_def_cfa_expression (cut short)"}},
      {"unknown", false, {0x0A, 0x3F, 0x0B}, {"DW_CFA_remember_state; (0x3F...)"}},
      // clang-format on
  };
  Dwarf2Cie cie{};
  cie.codeAlignment = 4;
  cie.dataAlignment = -4;
  for (const auto& fact : facts) {
    const ExpressionFormat format{.dwarf1 = false, .addressSize = 4, .littleEndian = fact.littleEndian};
    const CallFrames frames(fact.bytes.data(), static_cast<uint32_t>(fact.bytes.size()), cie, format);
    EXPECT_EQ(Lines(frames), fact.lines) << fact.what;
  }
  EXPECT_EQ(Lines(CallFrames(nullptr, 4, cie, {})), Texts{});
}

}  // namespace
}  // namespace elfload
