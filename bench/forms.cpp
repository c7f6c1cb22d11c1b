// Forms and LEB128 numbers alone: the pass over all entries of all units with SkipForm, building nothing.
#include "dwarf2/forms.h"

#include <benchmark/benchmark.h>

#include "corpus_file.h"
#include "dwarf2/abbreviations.h"
#include "dwarf2/reader_state.h"

namespace {

struct Counts {
  uint64_t entries = 0;
  uint64_t attributes = 0;
};

// Skips the entries behind a unit's first. False unless that ends exactly at the unit's end.
bool SkipEntries(ElfImage* image, const DescModule* module, Counts& counts) {
  const DescModuleExt& ext = *module->ext;
  SeekTo(image, dwarf2State.sections.info, ext.unitOffset);
  const uint32_t end = ext.unitOffset + 4 + ReadU32(image);
  SeekTo(image, dwarf2State.sections.info, ext.firstEntry);
  dwarf2State.addressSize = ext.addressSize;
  dwarf2State.abbrevs = ext.abbrevs;
  while (dwarf2State.position < end && dwarf2State.failed == 0) {
    const uint32_t code = ReadUleb(image);
    if (code == 0) {
      continue;
    }
    const AbbrevEntry* abbrev = FindAbbreviation(code);
    counts.entries++;
    counts.attributes += static_cast<uint64_t>(abbrev->attributeCount);
    for (int32_t i = 0; i < abbrev->attributeCount; i++) {
      SkipForm(image, abbrev->attributes[i].form);
    }
  }
  return dwarf2State.position == end && dwarf2State.failed == 0;
}

bool SkipAll(LoadedFile& file, Counts& counts) {
  ClearFailure();
  LoadDwarf2Sections(file.loader.image);
  bool isWhole = true;
  for (const DescModule* module = file.table.Modules(); module != nullptr; module = module->next) {
    isWhole = SkipEntries(file.loader.image, module, counts) && isWhole;
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
