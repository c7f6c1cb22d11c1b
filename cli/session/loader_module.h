// The loader module, found and loaded at run time as any host does it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "target/elf_segment.h"
#include "tarnixcore/obj_file_loader.h"

namespace elfload {

// The component of the module at `path`; with an empty path, of the one beside the program or in the library folder.
// Null, with the reasons in `error`, when there is none, when it was built for another interface, or when it is no
// loader of object files.
std::unique_ptr<ObjFileLoader> LoadComponent(const std::string& path, std::string& error);

// What the loader keeps in its public data members.
struct LoaderState {
  uint32_t debugFormat = 0;
  bool errorReported = false;  // the debug information was seen to be corrupt since Build
  bool hasImage = false;
  bool littleEndian = false;
  uint32_t machine = 0;    // e_machine
  uint32_t noteValue = 0;  // NOTE_VALUE_DEFAULT when the file has none
  const char* noteText = nullptr;
};
LoaderState ReadState(const ObjFileLoader& loader);

// Why the last operation of the loader failed. Empty texts where it does not say.
struct FailureReason {
  std::string text;
  std::string unit;
  std::string section;
  std::optional<uint32_t> offset;  // in the section, or in the file
};
std::optional<FailureReason> ReadFailure(ObjFileLoader& loader);

// "unit uart.c, .debug_info+0x41c: what is wrong".
std::string FailureText(const FailureReason& reason);

// The program headers of the open file; none without a table or a file.
std::vector<ElfSegment> ReadSegments(const ObjFileLoader& loader);

}  // namespace elfload
