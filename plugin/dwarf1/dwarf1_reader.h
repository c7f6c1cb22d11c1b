// The DWARF 1 reader of a loader: the modules of a file, and what is in each.
//
//   Dwarf1Reader reader(&failure, &allowance);
//   reader.Open(image);                                  // null when the file is closed
//   reader.ReadModules(tableHeap, &modules, intSize);    // 1 for success; `failure` has the reason otherwise
//   reader.FillModule(modules, ranges);
//
// What the fills of a build share is in its table heap, so units of one build can be filled after the next build.
#pragma once

#include <cstdint>

#include "dwarf1/unit_fill.h"

class Dwarf1Reader {
 public:
  Dwarf1Reader(Failure* failure, Allowance* allowance);

  // Looks up the sections of an opened file. The image must live until the next call.
  void Open(ElfImage* image);

  // Makes the module list: one DescModule for each compile unit, adjacent units of one source file merged, with the
  // names and ranges of the index sections. `intSize` is the size of the type int in bytes. Grants the allowance anew.
  // `modules` is set in any case: null, or what has heaps to release.
  int ReadModules(mem_desc* tableHeap, DescModule** modules, int32_t intSize);

  // Fills a module, after those merged into it, and appends DescLineRange records to `ranges`.
  int FillModule(DescModule* module, L_list* ranges);

 private:
  void Begin();
  bool CreateHeaps(DescModule* modules);

  Failure* failure_;
  Allowance* allowance_;
  dwarf1::File file_ = {};
  dwarf1::EntryCursor debug_;
  Cursor lines_;
  dwarf1::UnitFill fill_;
};
