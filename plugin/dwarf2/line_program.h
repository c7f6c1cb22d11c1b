// Line programs of `.debug_line`: one program per module becomes its DescFile and DescLineBlock lists, and a list of
// DescLineRange records that tell which addresses have rows.
//
//   BeginLineProgram(module, ranges);
//   SeekTo(image, dwarf2State.sections.line, module->ext->lineOffset);
//   RunLineProgram(image);                        // leaves firstFile and firstBlock in dwarf2State.line
//
// Two variants, told apart by `opcode_base`: the standard one (10 or more), and a reduced one (9 or less) with fewer
// standard opcodes and a row behind nearly every opcode. Rows stay in the order of the program. After a failure the
// rows made so far stand; the caller tests the latch.
#pragma once

#include "tarnixcore/list.h"

struct DescModule;
struct ElfImage;

// Empties the state and takes the module's heap and the caller's list of ranges.
void BeginLineProgram(const DescModule* module, L_list* codeRanges);

void RunLineProgram(ElfImage* image);
