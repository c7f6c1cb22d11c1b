// Rows of a line program: how a row finds its block, and blocks their source files and address ranges.
#pragma once

#include <cstdint>

#include "dwarf2/reader_state.h"

// Begins a block for the registers' file.
void BeginLineBlock();

// Takes the address of a row into the pending range, or begins another.
void GrowLineRange(uint32_t address);

constexpr uint32_t LINE_RANGE_GAP = 256;  // rows up to this many bytes apart belong to one range

// Appends the registers as a row, beginning a block when the file changes or the block is full.
inline void AppendLineRow() {
  LineState& state = dwarf2State.line;
  const LineRegisters& registers = state.registers;
  if (registers.suppressRows || (IsReducedVariant() && !registers.isStmt)) {
    return;
  }
  if (state.currentBlock == nullptr || registers.file != state.blockFile || state.rowCount == LINE_BLOCK_ROWS) {
    BeginLineBlock();
    if (dwarf2State.failed != 0) {
      return;
    }
  }
  const uint32_t row = state.rowCount++;
  state.addresses[row] = registers.address;
  state.lines[row] = registers.line;
  state.columns[row] = registers.column;
  GrowLineRange(registers.address);
}

// Adds an entry to the file table; false, with the latch set, without memory.
bool AddLineFile(char* text);

// Hands the pending range to the caller's list.
void FlushCodeRange();

// Moves the rows of the current block from the state to the heap.
void FinishLineBlock();
