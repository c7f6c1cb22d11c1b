// Why a look-up filled a unit, in words.
#pragma once

#include "records/debug_records.h"
#include "tarnixcore/obj_file_loader.h"

namespace elfload {

// A unit with an index of names is filled when it holds the name, one without so that its records can be searched.
inline const char* WhyNameFills(const DescModule* module) {
  const bool hasNames = module->ext != nullptr && module->ext->globalNames != nullptr;
  return hasNames ? "its index of names has it" : "it has no index of names, so its records were searched";
}

// The same for an address. A unit's own range says nothing of data.
inline const char* WhyAddressFills(const DescModule* module, FindKind kind) {
  if (module->hasRange != 0 && (kind == FIND_ALL || kind == FIND_CODE)) return "its range holds the address";
  const bool hasRanges = module->ext != nullptr && module->ext->addrRanges != nullptr;
  return hasRanges ? "one of its address ranges holds the address"
                   : "it has no address ranges, so its records were searched";
}

}  // namespace elfload
