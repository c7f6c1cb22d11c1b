// What a host does with a file, all of it, in the order in which a debugger asks.
#pragma once

#include <cstddef>
#include <string>

#include "loader/elf_loader.h"
#include "support/bytes.h"

struct RunFigures {
  bool opened = false;
  size_t heapBytes = 0;  // of the table heap and all module heaps
};

// Opens, asks, builds, finds, fills, walks every record, hands out sections, loads code, closes; then does the same
// with a sound file, in the state that is left behind. Ends the process with a word on standard error when the sound
// file gives other records than it does alone, when the records take more memory than they may, or when the user is
// told more than one thing about a build.
RunFigures RunAsHost(const RawBytes& file);

// Opens a sound file with a loader of its own, by number; ends the process when its records are not those of the first
// time.
constexpr uint32_t SOUND_FILES = 4;
void ExpectSound(uint32_t number);

// All records as a dump has them, which reads every field; fills what is not filled.
std::string RecordText(ElfLoader& loader, SymbolTable& table);
