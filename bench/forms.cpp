// Forms and LEB128 numbers alone: the pass over all entries of all units with SkipForm, building nothing.
#include "dwarf2/forms.h"

#include <benchmark/benchmark.h>

#include "corpus_file.h"
#include "dwarf/leb128.h"
#include "dwarf2/abbreviations.h"
#include "dwarf2/build_records.h"
#include "dwarf2/sections.h"

namespace {

struct Counts {
  uint64_t entries = 0;
  uint64_t attributes = 0;
};

class EntrySkipper {
 public:
  explicit EntrySkipper(const ElfImage* image) : sections_(FindDwarf2Sections(image)) {
    allowance_.Grant(static_cast<uint64_t>(image->file->Size()) * 1000);  // over and over
    info_.Use(image->file, ELF_IsLittleEndian(image));
    abbrev_.Use(image->file, ELF_IsLittleEndian(image));
  }

  // Skips the entries after a unit's first. False unless that ends exactly at the unit's end.
  bool Skip(const DescModule* module, Counts& counts) {
    const auto& ext = static_cast<const Dwarf2ModuleExt&>(*module->ext);
    if (!abbrevs_.Read(&abbrev_, sections_.abbrev, ext.abbrevOffset, loaderRules)) return false;
    info_.SeekKept(sections_.info, ext.firstEntry, ext.unitEnd - ext.firstEntry);
    while (info_.Offset() < ext.unitEnd && !failure_) {
      const uint32_t entryOffset = info_.Offset();
      const uint32_t code = ReadUleb(&info_);
      if (code == 0) continue;
      const AbbrevEntry* entry = abbrevs_.Find(code, &info_, entryOffset);
      counts.entries++;
      counts.attributes += entry->attributeCount;
      for (uint32_t i = 0; i < entry->attributeCount; i++) {
        SkipForm(&info_, abbrevs_.Attributes(entry)[i].form, ext.addressSize);
      }
    }
    return info_.Offset() == ext.unitEnd && !failure_;
  }

 private:
  Failure failure_;
  Allowance allowance_;
  Dwarf2Sections sections_;
  Cursor info_{&failure_, &allowance_};
  Cursor abbrev_{&failure_, &allowance_};
  AbbrevTable abbrevs_;
};

bool SkipAll(LoadedFile& file, Counts& counts) {
  EntrySkipper skipper(file.loader.image);
  bool isWhole = true;
  for (const DescModule* module = file.table.Modules(); module != nullptr; module = module->next) {
    isWhole = skipper.Skip(module, counts) && isWhole;
  }
  return isWhole;
}

void Forms(benchmark::State& state, const std::string& path) {
  LoadedFile file;
  Counts counts;
  if (!file.OpenAndBuild(path) || file.loader.debugFormat != DEBUG_FORMAT_DWARF2 || !SkipAll(file, counts)) {
    state.SkipWithError("no file with DWARF 2, or its entries do not end where their units end");
    return;
  }
  for (auto _ : state) {
    Counts again;
    benchmark::DoNotOptimize(SkipAll(file, again));
  }
  SetCost(state, "entries", counts.entries);
  SetCost(state, "attributes", counts.attributes);
}

}  // namespace

void RegisterForms(const std::string& path) {
  benchmark::RegisterBenchmark(BenchmarkName("forms", path).c_str(), Forms, path)->Unit(benchmark::kMillisecond);
}
