// Open alone, and Open with Build: unit list, abbreviations, frames, name and address indexes.
#include "corpus_file.h"

namespace {

void Open(benchmark::State& state, const std::string& path) {
  LoadedFile checked;
  if (!checked.Open(path) || checked.loader.debugFormat == DEBUG_FORMAT_NONE) {
    state.SkipWithError("the file does not open, or has no debug information");
    return;
  }
  for (auto _ : state) {
    LoadedFile file;
    benchmark::DoNotOptimize(file.Open(path));
  }
}

size_t CountUnits(const LoadedFile& file) {
  size_t units = 0;
  for (const DescModule* module = file.table.Modules(); module != nullptr; module = module->next) {
    units++;
  }
  return units;
}

void OpenAndBuild(benchmark::State& state, const std::string& path) {
  LoadedFile checked;
  if (!checked.OpenAndBuild(path) || CountUnits(checked) == 0) {
    state.SkipWithError("the module list cannot be built, or is empty");
    return;
  }
  for (auto _ : state) {
    LoadedFile file;
    benchmark::DoNotOptimize(file.OpenAndBuild(path));
  }
  SetCost(state, "units", CountUnits(checked));
}

}  // namespace

void RegisterOpenAndBuild(const std::string& path) {
  benchmark::RegisterBenchmark(BenchmarkName("open", path).c_str(), Open, path)->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark(BenchmarkName("open_build", path).c_str(), OpenAndBuild, path)
      ->Unit(benchmark::kMillisecond);
}
