// What the debug information says of a unit beside its records, as a host asks for it: which version it has, and who
// wrote it.
//
//   LoaderUnit unit = {table.Modules(), 0};
//   Argument argument = {nullptr, sizeof(unit), reinterpret_cast<char*>(&unit)};
//   for (; component->Execute(REQUEST_UNIT, &argument) == 1; unit.number++) std::puts(unit.producer);
#pragma once

#include <cstdint>

struct DescModule;

// Request of Execute. In: `argument->buffer` is a LoaderUnit with its first two fields set, `argument->size` its size.
// Out: the other fields. `argument->name` is not read. The result is 0, with nothing written, when there is no such
// unit: after the last one, for a build by the loader's own rules, for a DWARF 1 file, and where the buffer is too
// small.
constexpr int REQUEST_UNIT = 1003;

enum LoaderUnitKind : uint32_t { UNIT_COMPILE = 0, UNIT_PARTIAL = 1, UNIT_TYPE = 2, UNIT_SKELETON = 3 };

// New fields are added at the end.
struct LoaderUnit {
  const DescModule* anyModule;  // in: any module of the build
  uint32_t number;              // in: of the unit, from 0, in the order of the file
  uint32_t kind;                // a LoaderUnitKind
  const DescModule* module;     // null for a unit that is none, such as a type unit
  const char* producer;         // DW_AT_producer, empty for none; it lives as long as the table of the build
  uint32_t version;             // of its header, 2 to 5
  uint32_t language;            // DW_LANG_ value; 0 for none
  uint32_t addressSize;         // bytes
  uint32_t offsetSize;          // bytes: 8 for a unit of the 64-bit format
  uint32_t offset;              // of its header in .debug_info, or, after all of .debug_info, in .debug_types
};
