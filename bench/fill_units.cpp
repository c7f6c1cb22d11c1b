// The fill of every unit, without the Open and Build before it.
#include "corpus_file.h"

namespace {

uint64_t CountTypes(const LoadedFile& file) {
  uint64_t types = 0;
  for (const DescModule* module = file.table.Modules(); module != nullptr; module = module->next) {
    types += module->typeCount;
  }
  return types;
}

void FillUnits(benchmark::State& state, const std::string& path) {
  uint64_t types = 0;
  {
    LoadedFile checked;
    if (!checked.OpenAndBuild(path) || !checked.FillAll()) {
      state.SkipWithError("a unit cannot be filled");
      return;
    }
    types = CountTypes(checked);
  }
  for (auto _ : state) {
    state.PauseTiming();
    {
      LoadedFile file;
      file.OpenAndBuild(path);
      state.ResumeTiming();
      benchmark::DoNotOptimize(file.FillAll());
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  SetCost(state, "types", types);
}

}  // namespace

void RegisterFillUnits(const std::string& path) {
  benchmark::RegisterBenchmark(BenchmarkName("fill", path).c_str(), FillUnits, path)->Unit(benchmark::kMillisecond);
}
