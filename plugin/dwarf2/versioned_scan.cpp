#include "dwarf2/versioned_scan.h"

#include <cstdio>

#include "dwarf/index_records.h"
#include "dwarf/unit_facts.h"
#include "dwarf2/unit_header.h"
#include "dwarf2/unit_names.h"

namespace {

constexpr uint32_t UNIT_WINDOW = 256;  // bytes: a header and a first entry as a rule

}  // namespace

VersionedScan::VersionedScan(Failure* failure, Allowance* allowance)
    : failure_(failure),
      allowance_(allowance),
      info_(failure, allowance),
      abbrev_(failure, allowance),
      index_(failure, allowance),
      values_(failure, allowance),
      ranges_(failure, allowance),
      texts_(failure, allowance),
      moduleHeap_(failure, allowance) {}

void VersionedScan::Use(const ByteSource* file, bool littleEndian, const Dwarf2Sections* sections,
                        const DeadCode* deadCode) {
  sections_ = sections;
  deadCode_ = deadCode;
  for (Cursor* cursor : {&info_, &abbrev_, &index_}) {
    cursor->Use(file, littleEndian);
  }
  values_.Use(file, littleEndian, sections);
  texts_.Use(file, littleEndian, sections);
  ranges_.Use(file, littleEndian, sections, deadCode, &values_);
}

bool VersionedScan::Run(RecordHeap* tableHeap, Dwarf2Build* build, DescModule** modules, Failure* setAside) {
  tableHeap_ = tableHeap;
  build_ = build;
  setAside_ = setAside;
  tail_ = modules;
  hasTable_ = hasListed_ = isOutOfMemory_ = false;
  unitNumber_ = 0;
  units_.Empty();
  for (UnitTexts::Text* text : {&name_, &directory_, &producer_}) {
    *text = {};
  }
  producerCopy_ = EmptyString();
  ReadSection(sections_->info, false);
  if (sections_->types.exists && sections_->types.size <= UINT32_MAX - sections_->info.size) {
    ReadSection(sections_->types, true);
  }
  if (isOutOfMemory_ || *failure_ || !units_.MoveTo(&build->units, tableHeap->Heap())) {
    failure_->NoteNoMemory();
    ReleaseModuleHeaps(*modules);
    *modules = nullptr;
    return false;
  }
  for (uint32_t i = 0; i < build->units.Count(); ++i) {
    const UnitPlace& unit = build->units[i];
    if (unit.module != nullptr) {
      static_cast<Dwarf2ModuleExt*>(unit.module->ext)->unit = &unit;
    }
  }
  return true;
}

void VersionedScan::ReadSection(const SectionPlace& section, bool isInTypes) {
  uint32_t next = 0;
  while (next < section.size && allowance_->IsLeft() && !isOutOfMemory_ && !*failure_) {
    info_.Seek(section, next, UNIT_WINDOW);
    if (info_.AtEnd()) {
      info_.Fail("the section ends past the end of the file");
      failure_->SetAside(setAside_);
      return;
    }
    const uint32_t start = next;
    char number[16];  // stands for the unit in a reason, since it may have no name yet
    std::snprintf(number, sizeof(number), "%u", static_cast<unsigned>(unitNumber_++));
    failure_->SetUnit(number);
    const bool isRead = ReadUnit(section, isInTypes, &next);
    failure_->SetUnit(nullptr);
    if (!isRead) {
      failure_->SetAside(setAside_);
      if (*failure_) {  // there is no memory
        return;
      }
    }
    info_.Charge(info_.Offset() > start ? info_.Offset() - start : 0);
    if (next <= start) {
      next = isInTypes ? 0 : NextUnit(start);
      if (next == 0) {
        return;
      }
    }
  }
  if (!allowance_->IsLeft()) {
    info_.Fail("parts of the file are read over and over");
    failure_->SetAside(setAside_);
  }
}

// Where the scan goes on after a unit whose length leads outside. 0 when no index says so.
uint32_t VersionedScan::NextUnit(uint32_t failedUnit) {
  if (!hasListed_) {
    listed_.Read(&index_, *sections_);
    failure_->Clear();  // what is wrong with an index is said when it is read for itself
    hasListed_ = true;
  }
  return listed_.After(failedUnit);
}

bool VersionedScan::ReadUnit(const SectionPlace& section, bool isInTypes, uint32_t* end) {
  UnitPlace unit = {};
  UnitRoot root = {};
  unit.isInTypes = isInTypes;
  unit.producer = EmptyString();
  if (!ReadUnitHeader(&info_, section.size, isInTypes, &unit, end)) {
    return false;
  }
  unit.strOffsetsBase = unit.version == 5 ? 2 * unit.offsetSize : 0;  // after the header of the first part
  if (!hasTable_ || tableOffset_ != unit.abbrevOffset) {
    hasTable_ = abbrevs_.Read(&abbrev_, sections_->abbrev, unit.abbrevOffset, *build_->rules);
    tableOffset_ = unit.abbrevOffset;
  }
  if (!hasTable_ || !ReadUnitRoot(&info_, &abbrevs_, &values_, *build_->rules, &unit, &root)) {
    return false;
  }
  if (texts_.Copy(root.producer, info_, &producer_)) {
    producerCopy_ = tableHeap_->CopyText(producer_.text, std::strlen(producer_.text));
  }
  unit.producer = producerCopy_;
  const uint32_t base = isInTypes ? sections_->info.size : 0;
  for (uint32_t* number : {&unit.start, &unit.end, &unit.rootEntry, &unit.firstEntry, &unit.typeEntry}) {
    *number += base;
  }
  if (!units_.Add(unit)) {
    isOutOfMemory_ = true;
    return false;
  }
  if (unit.kind == UnitKind::compile || unit.kind == UnitKind::skeleton) {
    MakeModule(unit, root);
  }
  return !*failure_;
}

void VersionedScan::MakeModule(const UnitPlace& unit, const UnitRoot& root) {
  auto* ext = tableHeap_->New<Dwarf2ModuleExt>();
  DescModule* module = NewDescModule(tableHeap_, build_, ext);
  mem_desc* heap = module != nullptr ? HEAP_Create(0, 0, 0) : nullptr;
  if (heap == nullptr) {
    isOutOfMemory_ = true;
    return;
  }
  module->heap = heap;
  moduleHeap_.Use(heap);
  ext->lineOffset = unit.lineOffset;
  ext->hasLines = unit.hasLines;
  ext->firstEntry = unit.firstEntry;
  ext->addressSize = unit.addressSize;
  ext->unitOffset = unit.start;
  ext->unitEnd = unit.end;
  ext->abbrevOffset = unit.abbrevOffset;
  ext->ranges = root.ranges;
  if (NumbersBitsFromLowEnd(producer_.text)) {
    ext->bitNumbering = BITS_FROM_LOW_END;
  }
  module->language = PublishedLanguageOf(unit.language);
  SetRange(module, unit, root);
  texts_.Copy(root.name.valueClass != ValueClass::absent ? root.name : root.dwoName, info_, &name_);
  texts_.Copy(root.directory, info_, &directory_);
  SetUnitNames(&moduleHeap_, module, directory_.text, name_.text);
  units_.Last().module = module;
  *tail_ = module;
  tail_ = &module->next;
  if (unit.kind == UnitKind::skeleton || root.dwoName.valueClass != ValueClass::absent) {
    NoteMissingFile(unit, root);
  }
}

void VersionedScan::SetRange(DescModule* module, const UnitPlace& unit, const UnitRoot& root) {
  module->lowPc = unit.lowPc;
  if (root.lowPc.valueClass != ValueClass::address) {
    return;
  }
  if (root.highPc.valueClass == ValueClass::address) {
    module->highPc = root.highPc.number;
  } else if (root.highPc.IsConstant()) {
    module->highPc = unit.lowPc + root.highPc.number;
  }
  if (module->highPc <= module->lowPc || deadCode_->IsMark(unit.lowPc, unit.addressSize)) {
    module->highPc = 0;
  }
  module->hasRange = module->highPc != 0 ? 1 : 0;
}

// A unit whose entries are in another file is a module by its name, and the failure says which file that is.
void VersionedScan::NoteMissingFile(const UnitPlace& unit, const UnitRoot& root) {
  UnitTexts::Text file = {};
  texts_.Copy(root.dwoName, info_, &file);
  failure_->SetUnit(units_.Last().module->name);
  failure_->Note(sections_->info.name, unit.start, "the unit's entries are in another file: %.80s", file.text);
  failure_->SetUnit(nullptr);
}

void VersionedScan::AddUnitRanges(DescModule* modules, Failure* setAside) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    const auto* ext = static_cast<const Dwarf2ModuleExt*>(module->ext);
    if (ext->addrRanges != nullptr || ext->ranges.valueClass == ValueClass::absent) {
      continue;
    }
    unitRanges_.Empty();
    failure_->SetUnit(module->name);
    ranges_.Read(UnitDirectory::FormsOf(*ext->unit, *build_->rules), ext->ranges, &unitRanges_);
    failure_->SetUnit(nullptr);
    failure_->SetAside(setAside);
    for (const AddressRange& range : unitRanges_) {
      AddAddrRange(tableHeap_, module, range.low, range.high - range.low);
    }
  }
}
