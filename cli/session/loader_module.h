// The loader module, found and loaded at run time as any host does it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "records/debug_records.h"
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
  bool hasProgramHeaders = false;  // a table of them, which may be empty
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

  bool operator==(const FailureReason& other) const = default;
};
std::optional<FailureReason> ReadFailure(ObjFileLoader& loader);

// "unit uart.c, .debug_info+0x41c: what is wrong".
std::string FailureText(const FailureReason& reason);

// What the units of a build say of themselves.
struct UnitSummary {
  struct Counts {
    uint32_t units = 0;  // compile units
    uint32_t partialUnits = 0;
    uint32_t typeUnits = 0;
  };
  std::map<uint32_t, Counts> versions;  // by version of DWARF

  // How many compile units each producer wrote, in the order of the file; "" for those that do not say.
  std::vector<std::pair<std::string, uint32_t>> producers;
};

// Empty where the loader does not know: by its own rules, and for DWARF 1. `modules` is the list of a build.
UnitSummary ReadUnits(ObjFileLoader& loader, const DescModule* modules);

// The program headers of the open file; none without a table or a file.
std::vector<ElfSegment> ReadSegments(const ObjFileLoader& loader);

}  // namespace elfload
