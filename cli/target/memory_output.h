// A memory as a file for programmers and emulators: Intel HEX, Motorola S-records, raw bytes.
//
//   std::string error;
//   if (!WriteMemoryFile("flash.hex", MemoryFormat::hex, target, {.fillGaps = false}, error)) Report(error);
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "target/memory_target.h"

namespace elfload {

enum class MemoryFormat : uint8_t {
  hex,   // Intel HEX with extended linear addresses
  srec,  // Motorola S-records with the shortest addresses that hold all
  bin,   // the bytes from the lowest address to the highest, gaps filled with zero
};

// By the extension: .hex .ihex .ihx, .srec .s19 .s28 .s37 .mot, .bin .raw, upper or lower case. Nothing for another
// one.
std::optional<MemoryFormat> MemoryFormatOf(std::string_view fileName);

struct MemoryFileSettings {
  bool fillGaps = false;  // raw bytes however large the gaps make the file
};
constexpr uint64_t MAXIMUM_RAW_SIZE = 0x4000000;  // bytes of a raw file without fillGaps, unless that much was written

// Writes what was written to `memory`, and its start address where the format has one. False with `error` set; a file
// that could not be written whole is removed.
bool WriteMemoryFile(const std::string& fileName, MemoryFormat format, MemoryTarget& memory,
                     const MemoryFileSettings& settings, std::string& error);

}  // namespace elfload
