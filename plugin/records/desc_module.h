// Module records as both readers make them, with what the modules of one build share.
#pragma once

#include "records/debug_records.h"
#include "records/record_heap.h"

// How look-ups by address read the records of a build.
struct LookupRules {
  bool readsAddressesBySize;  // a static address has the size of its unit's addresses; else four bytes
  bool seeksDataPastCode;     // ranges that hold code alone do not decide that data is not there; else they do
  bool dropsDeadCode;         // a variable at a linker's mark is nowhere
};

// What the fills of a build share. In the table heap, so that it lives as long as the modules of that table, whatever
// the loader builds meanwhile. A reader derives its own from it.
struct BuildRecords {
  DescType* undefinedType;  // of what has no type
  DescType* voidType;       // of a procedure without a result
  LookupRules lookups;
  bool coversOnlyRows;  // line-info procedures are made for rows outside every procedure; else for all of a range
};

// DescModuleExt as readers make it: the host knows the fields of its base.
struct ReaderModuleExt : DescModuleExt {
  BuildRecords* build;
  bool isDataIndexed;  // an index says where the unit's data is, or that it has none
};

// A record in the table heap, its strings the shared empty string, with `ext`, which may be of a derived type and is
// zeros. Null without memory, and when `ext` is null.
DescModule* NewDescModule(RecordHeap* tableHeap, BuildRecords* build, ReaderModuleExt* ext);

inline BuildRecords* BuildOf(const DescModule* module) {
  return static_cast<ReaderModuleExt*>(module->ext)->build;
}

inline bool IsDataIndexed(const DescModule* module) {
  return static_cast<const ReaderModuleExt*>(module->ext)->isDataIndexed;
}

// A type record that is on no module's list, with a fixed word as its name. Null without memory.
DescType* NewSharedType(RecordHeap* tableHeap, const char* name);

// Releases the heaps of all modules of a list.
void ReleaseModuleHeaps(DescModule* modules);
