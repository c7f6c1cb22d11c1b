// How many records of each kind a filled unit has.
#pragma once

#include <cstdint>

#include "records/debug_records.h"

namespace elfload {

// Counts over all units added so far. A record on several lists counts on each.
class RecordCounts {
 public:
  // Adds a unit and the units merged into it.
  void Add(const DescModule* module);
  RecordCounts& operator+=(const RecordCounts& other);

  uint64_t units = 0;  // merged ones too
  uint64_t procedures = 0;
  uint64_t memberFunctions = 0;
  uint64_t variables = 0;  // global and file-level ones
  uint64_t locals = 0;
  uint64_t parameters = 0;  // of procedures and of function types
  uint64_t types = 0;
  uint64_t members = 0;  // base classes too
  uint64_t enumerators = 0;
  uint64_t locations = 0;
  uint64_t files = 0;
  uint64_t lineRows = 0;
  uint64_t frames = 0;
  uint64_t globalNames = 0;
  uint64_t addrRanges = 0;
  uint64_t inlinedCalls = 0;

 private:
  void AddProcs(const DescProc* procs, uint64_t& count);
  void AddVars(const DescVar* vars, uint64_t& count);
  void AddTypes(const DescType* list);
};

}  // namespace elfload
