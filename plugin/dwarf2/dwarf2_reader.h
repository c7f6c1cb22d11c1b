// The DWARF 2 reader of a loader: the module list of a file that carries .debug_info, and the fill of a module.
//
//   Dwarf2Reader reader(&failure, &allowance);
//   reader.Open(image);                                // null: the file is closed
//   reader.ReadModules(tableHeap, &modules, rules);    // 1 for success
//   reader.FillModule(module, ranges);                 // 1 for success
#pragma once

#include <cstdint>

#include "dwarf2/dead_code.h"
#include "dwarf2/entries/entry_walk.h"
#include "dwarf2/lines/line_program.h"
#include "dwarf2/sections.h"
#include "dwarf2/unit_scan.h"
#include "dwarf2/versioned_scan.h"
#include "tarnixcore/list.h"

class Dwarf2Reader : private SourceFiles {
 public:
  Dwarf2Reader(Failure* failure, Allowance* allowance);

  // The file that is read from now on; null when it is closed.
  void Open(ElfImage* image);

  // Makes one DescModule per unit; no entry after a unit's first is read. 1 for success. On failure `modules` is set or
  // left as it was; where it is left, nothing of the scan stays. The modules' fills go by the same rules. As published
  // success may leave a failure noted: the first reason why a unit or an index was left out.
  int ReadModules(mem_desc* tableHeap, DescModule** modules, const Dwarf2Rules& rules);

  // Fills a module from its line program and its entries, and appends DescLineRange records to `ranges`. 1 for success;
  // after a failure what was read before it is kept. As published the entries are read whatever the line program is: 1
  // with the failure set where it alone cannot be read.
  int FillModule(DescModule* module, L_list* ranges);

  // What the linker threw away of the file that is read.
  const DeadCode& GetDeadCode() const { return deadCode_; }

  // The `opcode_base` of the line program that was read last, whichever unit or file it was of; 0 before the first. A
  // unit without a program of its own is read by it.
  uint8_t OpcodeBase() const { return opcodeBase_; }
  void SetOpcodeBase(uint8_t opcodeBase) { opcodeBase_ = opcodeBase; }

 private:
  char* FileOf(uint32_t number) override;
  Dwarf2Build* MakeBuild(mem_desc* tableHeap, const Dwarf2Rules& rules);
  void FillRecords(DescModule* module, L_list* ranges);
  int ReadByLoaderRules(Dwarf2Build* build, DescModule** modules);
  int ReadPublished(Dwarf2Build* build, DescModule** modules);
  static char* NameOfEntry(void* context, DescModule* module, uint32_t entry);
  void ReadIndexes(DescModule* modules, const Dwarf2Rules& rules);
  void FillLines(DescModule* module, const UnitForms& unit, L_list* ranges);
  void MakeDefaultLineBlock(DescModule* module);

  Failure* failure_;
  Allowance* allowance_;
  ElfImage* image_ = nullptr;
  Dwarf2Sections sections_ = {};          // as the rules in hand have them
  Dwarf2Sections allSections_ = {};       // as the file has them
  Dwarf2Sections readableSections_ = {};  // without compressed ones, of the last build as published
  DeadCode deadCode_;
  Failure linesFailure_;  // of the fill in hand
  uint8_t opcodeBase_ = 0;

  RecordHeap tableHeap_;
  RecordHeap moduleHeap_;
  Cursor index_;
  UnitScan scan_;
  VersionedScan versionedScan_;
  LineProgram lines_;
  EntryWalk entries_;
};
