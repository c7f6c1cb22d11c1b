// What a host does with a file, all of it, in the order in which a debugger asks.
#pragma once

#include <cstddef>

#include "support/bytes.h"

struct RunFigures {
  bool opened = false;
  size_t heapBytes = 0;    // of the table heap and all module heaps
  size_t targetBytes = 0;  // written by the download
};

// Opens, asks, builds, finds, fills, walks every record, hands out sections, loads code, closes; then does the same
// with a sound file, in the state that is left behind. Ends the process with a word on standard error when the sound
// file gives other records than it does alone, or when the user is told more than one thing about a build.
RunFigures RunAsHost(const RawBytes& file);

// The part behind the colon: `file` alone, with a loader of its own. False when its records are not what they were the
// first time. Takes one of the four sound files, by number.
constexpr uint32_t SOUND_FILES = 4;
void ExpectSound(uint32_t number);
