// State of a running line program: header, registers, and the blocks and files made so far.
#pragma once

#include <cstdint>

#include "tarnixcore/heap.h"
#include "tarnixcore/list.h"

struct DescFile;
struct DescLineBlock;
struct DescLineRange;

constexpr uint32_t LINE_BLOCK_ROWS = 256;

// An entry of the file table. Entry 1 is the first.
struct LineFile {
  char* text;     // as the program has it, in the module heap
  bool isListed;  // whether its base name is on the module's list of files
};

struct LineRegisters {
  uint32_t address;
  uint32_t line;
  uint32_t column;
  int32_t file;
  bool isStmt;
  bool suppressRows;  // in a sequence that the linker threw away
};

struct LineState {
  mem_desc* heap;               // the module heap
  L_list* codeRanges;           // the caller's list of DescLineRange; null when no program runs
  DescLineRange* pendingRange;  // the range being grown, or null
  bool actsAsPublished;         // the host's choice for the opcodes on which DWARF 2 and the loader's rules differ
  bool keepsAddressZero;        // as published, where the unit's own ranges hold address 0

  // Header.
  uint32_t end;  // position behind the program
  uint8_t minimumInstructionLength;
  uint8_t defaultIsStmt;
  int8_t lineBase;
  uint8_t lineRange;
  uint8_t standardOpcodeLengths[256];
  uint32_t addressAdvances[256];  // by opcode, from opcode_base on: what a special opcode does
  uint32_t lineAdvances[256];
  LineFile* files;  // the file table, in the process's memory
  uint32_t fileCount;
  uint32_t fileCapacity;

  LineRegisters registers;

  // Output. The rows of the current block stand here until it is complete, and then go to the heap at their exact
  // number.
  DescLineBlock* firstBlock;
  DescLineBlock* currentBlock;
  int32_t blockFile;  // value of the file register for which the current block was begun
  DescFile* firstFile;
  DescFile* lastFile;
  uint32_t rowCount;
  uint32_t addresses[LINE_BLOCK_ROWS];
  uint32_t lines[LINE_BLOCK_ROWS];
  uint32_t columns[LINE_BLOCK_ROWS];
};
