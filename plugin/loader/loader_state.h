// What a loader owns beside the members that its host knows: the readers, and what they share.
#pragma once

#include "dwarf1/dwarf1_reader.h"
#include "dwarf2/dwarf2_reader.h"
#include "loader/name_index.h"
#include "records/allowance.h"
#include "records/failure.h"

struct LoaderState {
  Failure failure;      // of the operation that runs
  Failure lastFailure;  // of the last one that failed since the file was opened
  Allowance allowance;  // of the file, from Build on
  Dwarf1Reader dwarf1{&failure, &allowance};
  Dwarf2Reader dwarf2{&failure, &allowance};
  NameIndex names;  // of the last build
};
