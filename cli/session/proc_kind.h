// What a DescProc is. The record itself does not say; its name and result type do.
#pragma once

#include <cstdint>
#include <cstring>

#include "records/debug_records.h"

namespace elfload {

// In the order in which they answer for an address.
enum class ProcKind : uint8_t { lineInfo, label, procedure };

inline ProcKind KindOf(const DescProc* proc) {
  constexpr char lineInfoName[] = "Line Info from 0x";
  const DescType* result = proc->returnType;
  if (proc->name != nullptr && std::strncmp(proc->name, lineInfoName, sizeof(lineInfoName) - 1) == 0) {
    return ProcKind::lineInfo;
  }
  // A label has the shared type "undefined", which no entry of the file makes.
  const bool isUndefined = result != nullptr && result->key == NO_KEY && std::strcmp(result->name, "undefined") == 0;
  return isUndefined && proc->params == nullptr && proc->locals == nullptr ? ProcKind::label : ProcKind::procedure;
}

}  // namespace elfload
