// What a host does with a file, all of it, in the order in which a debugger asks.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>

#include "loader/elf_loader.h"
#include "sound_files.h"
#include "support/bytes.h"

struct RunFigures {
  bool opened = false;
  size_t heapBytes = 0;  // of the table heap and all module heaps
};

enum class FileFrom { memory, disk };

// Opens, asks, builds, finds, fills, walks every record, hands out sections, loads code, closes; then reads a sound
// file with the same loader; all that by each set of rules. Ends the process with a message on standard error when the
// sound file has other records than it has alone, when the records take more memory than they may, or when the user
// gets more than one message about a build.
RunFigures RunAsHost(const RawBytes& file, FileFrom from = FileFrom::memory);

// Sound files of every format and byte order, by the rules that read them.
struct SoundRun {
  SoundFormat format;
  ByteOrder order;
  const char* rules;  // of DWARFRULES
};
constexpr SoundRun soundRuns[] = {
    {SoundFormat::dwarf1, ByteOrder::little, "LOADER"},    {SoundFormat::dwarf1, ByteOrder::big, "PUBLISHED"},
    {SoundFormat::dwarf2, ByteOrder::little, "LOADER"},    {SoundFormat::dwarf2, ByteOrder::big, "LOADER"},
    {SoundFormat::dwarf2, ByteOrder::little, "PUBLISHED"}, {SoundFormat::dwarf2, ByteOrder::big, "PUBLISHED"},
    {SoundFormat::later, ByteOrder::little, "PUBLISHED"},  {SoundFormat::later, ByteOrder::big, "PUBLISHED"},
};
constexpr uint32_t SOUND_FILES = std::size(soundRuns);

// Opens a sound file with a loader of its own, by number; ends the process when its records are not those of the first
// time.
void ExpectSound(uint32_t number);

// All records as in a dump, which reads every field; fills what is not filled.
std::string RecordText(ElfLoader& loader, SymbolTable& table);
