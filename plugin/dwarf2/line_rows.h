// Rows of a line program: how a row finds its block, and blocks their source files and address ranges.
#pragma once

#include <cstdint>

struct ElfImage;

// Appends the registers as a row, beginning a block when the file changes or the block is full.
void AppendLineRow();

// Adds an entry to the file table; false, with the latch set, without memory.
bool AddLineFile(char* text);

// Hands the pending range to the caller's list.
void FlushCodeRange();

// Moves the rows of the current block from the state to the heap.
void FinishLineBlock();
