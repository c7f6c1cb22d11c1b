#include "dwarf1/dwarf1_reader.h"

#include "dwarf1/dwarf1_build.h"
#include "dwarf1/merged_units.h"
#include "dwarf1/name_index.h"
#include "dwarf1/unit_scan.h"

namespace {

constexpr uint32_t EMPTY_HEAP = 512;  // bytes that a heap takes from the process before anything is in it

}  // namespace

Dwarf1Reader::Dwarf1Reader(Failure* failure, Allowance* allowance)
    : failure_(failure),
      allowance_(allowance),
      debug_(failure, allowance),
      lines_(failure, allowance),
      fill_(&file_, &debug_, &lines_, failure, allowance) {}

void Dwarf1Reader::Open(ElfImage* image) {
  file_ = {};
  if (image != nullptr) {
    file_ = {.image = image,
             .debug = ELF_PlaceOf(image, ".debug"),
             .lines = ELF_PlaceOf(image, ".line"),
             .names = ELF_PlaceOf(image, ".debug_pubnames"),
             .ranges = ELF_PlaceOf(image, ".debug_aranges")};
    debug_.Use(image->file, ELF_IsLittleEndian(image));
    lines_.Use(image->file, ELF_IsLittleEndian(image));
  }
}

void Dwarf1Reader::Begin() {
  failure_->Clear();
  failure_->SetUnit(nullptr);
}

int Dwarf1Reader::ReadModules(mem_desc* tableHeap, DescModule** modules, int32_t intSize) {
  *modules = nullptr;
  Begin();
  allowance_->Grant(static_cast<uint64_t>(file_.image->file->Size()));
  RecordHeap heap(failure_, allowance_);
  heap.Use(tableHeap);
  Dwarf1Build* build = NewDwarf1Build(&heap, intSize);
  if (build == nullptr) {
    return 0;
  }
  if (!file_.debug.exists || file_.debug.size == 0) {
    return 1;
  }
  DescModule* list = dwarf1::ScanUnits(&debug_, file_.debug, &heap, build);
  if (*failure_) {
    return 0;
  }
  *modules = list;
  dwarf1::MergeAdjacentUnits(list);
  if (CreateHeaps(list)) {
    dwarf1::ReadNameIndexes(file_, list, failure_, allowance_);
  }
  return *failure_ ? 0 : 1;
}

// Merged units share the heap of the module that they are merged into.
bool Dwarf1Reader::CreateHeaps(DescModule* modules) {
  for (DescModule* module = modules; module != nullptr; module = module->next) {
    module->heap = allowance_->TakeMemory(EMPTY_HEAP) ? HEAP_Create(0, 0, 0) : nullptr;
    if (module->heap == nullptr) {
      failure_->NoteNoMemory();
      return false;
    }
    for (DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
      folded->heap = module->heap;
    }
  }
  return true;
}

int Dwarf1Reader::FillModule(DescModule* module, L_list* ranges) {
  Begin();
  for (DescModule* folded = module->ext->mergedModules; folded != nullptr; folded = folded->next) {
    fill_.Run(folded, ranges);
  }
  fill_.Run(module, ranges);
  failure_->SetUnit(nullptr);
  return *failure_ ? 0 : 1;
}
