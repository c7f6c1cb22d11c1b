// Why an operation of the loader failed, as a host asks for it.
//
//   LoaderFailure reason;
//   Argument argument = {nullptr, sizeof(reason), reinterpret_cast<char*>(&reason)};
//   if (component->Execute(REQUEST_LAST_FAILURE, &argument) == 1) std::puts(reason.text);
#pragma once

#include <cstdint>

// Request of Execute. It answers for the last Open, Build or fill that failed since the file was opened: a new Open or
// Build starts afresh, and a fill that succeeds changes nothing. It works without an open file, since a refused file
// has a reason.
//
// In: `argument->buffer`, or null, with `argument->size` bytes of room. Out: as many bytes of a LoaderFailure as the
// buffer has room for, and the size of a whole LoaderFailure in `argument->size`. `argument->name` is not read.
// The result is 1 when there is a failure, else 0; then nothing is written to the buffer.
constexpr int REQUEST_LAST_FAILURE = 1002;

constexpr uint32_t LOADER_FAILURE_NO_OFFSET = 0xFFFFFFFF;

// The texts are terminated, and cut where they are too long. New fields are added at the end.
struct LoaderFailure {
  char text[128];    // what is wrong
  char unit[128];    // the unit that was being read; empty for none
  char section[32];  // empty for none
  uint32_t offset;   // in the section, or in the file without one; LOADER_FAILURE_NO_OFFSET for none
};
static_assert(sizeof(LoaderFailure) == 128 + 128 + 32 + 4);
