#include "dwarf2/dwarf2_reader.h"

#include <algorithm>
#include <new>

#include "dwarf2/index/frames.h"
#include "dwarf2/index/name_index.h"
#include "dwarf2/missing_parts.h"
#include "elf/source_date.h"
#include "tarnixcore/obj_file_loader.h"

namespace {

constexpr uint32_t NO_LINE = 0xFFFFFFFF;
constexpr uint64_t READINGS_OF_ENTRIES = 64;  // of each, for all units together

}  // namespace

Dwarf2Reader::Dwarf2Reader(Failure* failure, Allowance* allowance)
    : failure_(failure),
      allowance_(allowance),
      tableHeap_(failure, allowance),
      moduleHeap_(failure, allowance),
      index_(failure, allowance),
      scan_(failure, allowance),
      versionedScan_(failure, allowance),
      lines_(failure, allowance, &moduleHeap_),
      entries_(failure, allowance, &moduleHeap_) {}

void Dwarf2Reader::Open(ElfImage* image) {
  image_ = image;
  if (image == nullptr) {
    return;
  }
  const bool littleEndian = ELF_IsLittleEndian(image);
  sections_ = allSections_ = readableSections_ = FindDwarf2Sections(image);
  index_.Use(image->file, littleEndian);
  deadCode_.Use(image);
  scan_.Use(image->file, littleEndian, &sections_);
  versionedScan_.Use(image->file, littleEndian, &sections_, &deadCode_);
  lines_.Use(image->file, littleEndian, &sections_, &deadCode_);
  entries_.Use(image->file, littleEndian, &sections_, &deadCode_);
}

Dwarf2Build* Dwarf2Reader::MakeBuild(mem_desc* tableHeap, const Dwarf2Rules& rules) {
  tableHeap_.Use(tableHeap);
  void* memory = tableHeap_.Get(sizeof(Dwarf2Build));
  DescType* voidType = NewSharedType(&tableHeap_, "void");
  DescType* undefinedType = NewSharedType(&tableHeap_, UNDEFINED_TYPE);
  if (memory == nullptr || voidType == nullptr || undefinedType == nullptr) {
    return nullptr;
  }
  auto* build = new (memory) Dwarf2Build{};
  build->voidType = voidType;
  build->undefinedType = undefinedType;
  build->tableHeap = tableHeap;
  build->rules = &rules;
  build->codeMask = image_->e_machine == EM_ARM ? ~uint32_t{1} : ~uint32_t{0};
  if (rules.readsAllTypes) {
    build->characterType = NewSharedType(&tableHeap_, "character");
    if (build->characterType == nullptr) {
      return nullptr;
    }
    build->characterType->byteSize = 1;
    build->characterType->items.encoding = ENCODING_UNSIGNED_CHAR;
  }
  build->lookups = {
      .readsAddressesBySize = rules.readsNewIndexes,
      .seeksDataPastCode = rules.readsNewIndexes,
      .dropsDeadCode = rules.dropsDeadCode,
  };
  build->coversOnlyRows = rules.runsLinesAsPublished;
  return build;
}

int Dwarf2Reader::ReadModules(mem_desc* tableHeap, DescModule** modules, const Dwarf2Rules& rules) {
  failure_->Clear();
  allowance_->Grant(static_cast<uint64_t>(image_->file->Size()));
  index_.Use(image_->file, ELF_IsLittleEndian(image_));  // its window was in the table heap of the build before
  sections_ = allSections_;
  Dwarf2Build* build = MakeBuild(tableHeap, rules);
  if (build == nullptr) {
    return 0;
  }
  if (!sections_.info.exists) {
    failure_->Note(".debug_info", Failure::NO_OFFSET, "the section is missing");
    return 0;
  }
  if (sections_.info.size == 0) {
    *modules = nullptr;
    return 1;
  }
  return rules.readsUnitsByVersion ? ReadPublished(build, modules) : ReadByLoaderRules(build, modules);
}

int Dwarf2Reader::ReadByLoaderRules(Dwarf2Build* build, DescModule** modules) {
  DescModule* scanned = nullptr;
  if (!scan_.Run(&tableHeap_, build, &scanned)) {
    return 0;
  }
  *modules = scanned;
  if (scanned != nullptr) {
    ReadIndexes(scanned, *build->rules);
  }
  return *failure_ ? 0 : 1;
}

// What cannot be read is left out, and the first reason kept for the end. Without memory nothing is handed out.
int Dwarf2Reader::ReadPublished(Dwarf2Build* build, DescModule** modules) {
  Failure first;
  const bool isReadable = NoteMissingParts(image_, &sections_, failure_);
  readableSections_ = sections_;
  if (!isReadable) {
    return 0;
  }
  failure_->SetAside(&first);
  const uint64_t infoSize = uint64_t{sections_.info.size} + sections_.types.size;  // units may share entries of others
  allowance_->GrantReadings(READINGS_OF_ENTRIES * std::min(infoSize, static_cast<uint64_t>(image_->file->Size())));
  DescModule* scanned = nullptr;
  if (!versionedScan_.Run(&tableHeap_, build, &scanned, &first)) {
    return 0;
  }
  *modules = scanned;
  if (scanned != nullptr) {
    moduleHeap_.Use(build->tableHeap);
    entries_.BeginNames(build);  // units of a build before may have been in the same memory
    ReadIndexes(scanned, *build->rules);
    failure_->SetAside(&first);
    versionedScan_.AddUnitRanges(scanned, &first);
  }
  if (*failure_) {
    return 0;
  }
  *failure_ = first;
  return 1;
}

// Names live as long as the table, like the records that have them.
char* Dwarf2Reader::NameOfEntry(void* context, DescModule* module, uint32_t entry) {
  auto* reader = static_cast<Dwarf2Reader*>(context);
  return reader->entries_.NameOf(module, entry);
}

void Dwarf2Reader::ReadIndexes(DescModule* modules, const Dwarf2Rules& rules) {
  const FrameSource frames = {.image = image_,
                              .sections = &sections_,
                              .rules = &rules,
                              .deadCode = &deadCode_,
                              .addressSize = modules->ext->addressSize};
  modules->ext->frames = ReadDwarf2Frames(&index_, frames, &tableHeap_);
  const IndexSource names = {.image = image_,
                             .sections = &sections_,
                             .deadCode = &deadCode_,
                             .nameOfEntry = {NameOfEntry, this},
                             .failure = failure_,
                             .allowance = allowance_};
  ReadDwarf2NameIndexes(&index_, names, modules, &tableHeap_);
}

// The one-row block of a module without line rows, so that `lineBlocks` is never null after a fill.
void Dwarf2Reader::MakeDefaultLineBlock(DescModule* module) {
  auto* block = moduleHeap_.New<DescLineBlock>();
  if (block == nullptr) {
    return;
  }
  module->lineBlocks = block;
  block->fileName = EmptyString();
  auto* rows = moduleHeap_.NewArray<uint32_t>(3);
  if (rows != nullptr) {
    rows[0] = rows[1] = rows[2] = NO_LINE;
    block->count = 1;
    block->addresses = &rows[0];
    block->lines = &rows[1];
    block->columns = &rows[2];
  }
}

void Dwarf2Reader::FillLines(DescModule* module, const UnitForms& unit, L_list* ranges) {
  if (static_cast<const Dwarf2ModuleExt*>(module->ext)->hasLines) {
    lines_.Run(module->ext->lineOffset, unit, ranges, &opcodeBase_);
    module->files = lines_.Files();
    module->lineBlocks = lines_.Blocks();
  } else {
    lines_.Clear();
  }
  if (module->files != nullptr) {
    CheckSourceDate(image_, module->files->baseName);
  }
  if (module->lineBlocks == nullptr) {
    MakeDefaultLineBlock(module);
  }
}

char* Dwarf2Reader::FileOf(uint32_t number) {
  return lines_.FileOf(number);
}

// Reads lines and entries. As published what is wrong with the lines does not keep the entries from being read; by the
// loader's rules it does.
void Dwarf2Reader::FillRecords(DescModule* module, L_list* ranges) {
  Dwarf2Build* build = Dwarf2BuildOf(module);
  sections_ = build->rules->keepsUnitsApart ? readableSections_ : allSections_;
  const UnitPlace* place = static_cast<const Dwarf2ModuleExt*>(module->ext)->unit;
  UnitForms unit = {
      .addressSize = module->ext->addressSize, .unitBase = module->ext->unitOffset, .rules = build->rules};
  if (place != nullptr) {
    unit = UnitDirectory::FormsOf(*place, *build->rules);
  }
  FillLines(module, unit, ranges);
  if (!sections_.info.exists) {
    failure_->Note(".debug_info", Failure::NO_OFFSET, "the section is missing");
    return;
  }
  if (place == nullptr && IsReducedVariant(opcodeBase_)) {
    unit.unitBase = 0;  // a producer of the reduced line program counts references from the start of the section
  }
  linesFailure_ = *failure_;
  if (build->rules->keepsUnitsApart && !failure_->IsOfMemory()) {
    failure_->Clear();
  }
  entries_.Run(module, build, unit, this);
}

int Dwarf2Reader::FillModule(DescModule* module, L_list* ranges) {
  failure_->Clear();
  failure_->SetUnit(module->name);
  linesFailure_.Clear();
  module->loadedKinds |= SYM_LOAD_ALL;
  if (allowance_->IsLeft()) {
    moduleHeap_.Use(module->heap);
    FillRecords(module, ranges);
  } else {
    failure_->Note(".debug_info", module->ext->unitOffset, "parts of the file are read over and over");
  }
  const int isFilled = *failure_ ? 0 : 1;
  if (linesFailure_) {
    *failure_ = linesFailure_;
  }
  failure_->SetUnit(nullptr);
  return isFilled;
}
