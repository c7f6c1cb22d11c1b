// The names of a module, from those of its unit.
#pragma once

#include "records/debug_records.h"
#include "records/record_heap.h"

// Splits the joined path: what the split finds as directory need not be the compilation directory.
void SetUnitNames(RecordHeap* moduleHeap, DescModule* module, const char* directory, const char* name);
