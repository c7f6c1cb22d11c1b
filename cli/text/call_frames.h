// The instructions of frame descriptions as text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "records/debug_records.h"
#include "session/expression.h"

namespace elfload {

// One line for each address whose rules are told, the first without an address of its own:
//   DW_CFA_def_cfa_offset: 16; DW_CFA_offset: r31 at cfa-4
//   0x000001D8  DW_CFA_advance_loc: 12; DW_CFA_restore: r31
// Offsets and steps are multiplied by the entry's alignment factors. An instruction that is not known ends the text as
// its code in parentheses, one without all of its operands as "(cut short)".
std::vector<std::string> CallFrameText(const uint8_t* instructions, uint32_t length, const Dwarf2Cie& cie,
                                       uint32_t address, const ExpressionFormat& format);

}  // namespace elfload
