// The scan of .debug_info and .debug_types as published: every unit of version 2 to 5 by its own version. Compile and
// skeleton units become modules; all units go to the build's directory.
//
//   VersionedScan scan(&failure, &allowance);
//   scan.Use(file, littleEndian, &sections, &deadCode);
//   const bool isDone = scan.Run(tableHeap, build, &modules, &setAside);
#pragma once

#include "dwarf2/abbreviations.h"
#include "dwarf2/build_records.h"
#include "dwarf2/dead_code.h"
#include "dwarf2/listed_units.h"
#include "dwarf2/ranges.h"
#include "dwarf2/unit_root.h"
#include "dwarf2/unit_texts.h"
#include "records/record_heap.h"

class VersionedScan {
 public:
  VersionedScan(Failure* failure, Allowance* allowance);

  // The file that is read from now on.
  void Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections, const DeadCode* deadCode);

  // A unit that cannot be read is left out; the first reason of all goes to `setAside`. False, with the failure noted,
  // without memory: no module is handed out then.
  bool Run(RecordHeap* tableHeap, Dwarf2Build* build, DescModule** modules, Failure* setAside);

  // Gives the modules that .debug_aranges does not have the ranges that their units give.
  void AddUnitRanges(DescModule* modules, Failure* setAside);

 private:
  void ReadSection(const SectionPlace& section, bool isInTypes);
  bool ReadUnit(const SectionPlace& section, bool isInTypes, uint32_t* end);
  uint32_t NextUnit(uint32_t failedUnit);
  void MakeModule(const UnitPlace& unit, const UnitRoot& root);
  void SetRange(DescModule* module, const UnitPlace& unit, const UnitRoot& root);
  void NoteMissingFile(const UnitPlace& unit, const UnitRoot& root);

  Failure* failure_;
  Allowance* allowance_;
  const Dwarf2Sections* sections_ = nullptr;
  const DeadCode* deadCode_ = nullptr;
  Cursor info_;
  Cursor abbrev_;
  Cursor index_;
  FormValues values_;
  RangeReader ranges_;
  GrowingArray<AddressRange> unitRanges_;
  UnitTexts texts_;
  RecordHeap moduleHeap_;
  AbbrevTable abbrevs_;
  UnitList units_;
  ListedUnits listed_;

  RecordHeap* tableHeap_ = nullptr;
  Dwarf2Build* build_ = nullptr;
  Failure* setAside_ = nullptr;
  DescModule** tail_ = nullptr;
  uint32_t tableOffset_ = 0;  // of the abbreviations in hand
  bool hasTable_ = false;
  bool hasListed_ = false;
  bool isOutOfMemory_ = false;
  UnitTexts::Text name_ = {};
  UnitTexts::Text directory_ = {};
  UnitTexts::Text producer_ = {};
  uint32_t unitNumber_ = 0;       // of the unit that is read, in the order of the file
  char* producerCopy_ = nullptr;  // of producer_.text, in the table heap
};
