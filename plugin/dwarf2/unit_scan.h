// The scan of .debug_info: one DescModule per unit, from the unit header, its abbreviations and its first entry.
//
//   UnitScan scan(&failure, &allowance);
//   scan.Use(file, littleEndian, &sections);
//   const bool isWhole = scan.Run(tableHeap, build, &modules);
#pragma once

#include "dwarf2/abbreviations.h"
#include "dwarf2/build_records.h"
#include "dwarf2/sections.h"
#include "records/record_heap.h"
#include "tarnixcore/files.h"

class UnitScan {
 public:
  UnitScan(Failure* failure, Allowance* allowance);

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections);

  // Walks the units by their unit_length. False when one of them cannot be read: no module is handed out then.
  bool Run(RecordHeap* tableHeap, Dwarf2Build* build, DescModule** modules);

 private:
  // Texts and facts of a unit's entry that are used after all attributes have been read. The texts of one offset in
  // .debug_str are read once as long as unit after unit names it.
  struct UnitText {
    char text[FE_NAME_SIZE];
    uint32_t offset;  // in .debug_str
    bool isKept;      // whether `text` is that of `offset`
    bool isPresent;   // in the unit in hand
  };

  DescModule* ReadUnit(uint32_t unitLength);
  bool ReadEntry(DescModule* module);
  void ReadAttribute(DescModule* module, const AbbrevAttribute& pair);
  void ReadText(uint32_t form, uint8_t addressSize, UnitText* text);
  void ReadTextAt(uint32_t offset, UnitText* text);
  void CopyText(Cursor* cursor, UnitText* text);

  Failure* failure_;
  const Dwarf2Sections* sections_ = nullptr;
  Cursor info_;
  Cursor abbrev_;
  Cursor str_;
  RecordHeap moduleHeap_;
  AbbrevTable abbrevs_;

  RecordHeap* tableHeap_ = nullptr;
  Dwarf2Build* build_ = nullptr;
  uint32_t tableOffset_ = 0;  // of the abbreviations in hand
  bool hasTable_ = false;
  UnitText name_ = {};
  UnitText directory_ = {};
  UnitText producer_ = {};
  bool hasLowPc_ = false;
  bool hasHighPc_ = false;
};
