// Look-ups by name: one from a cold start, Open and Build counted, and a thousand in a built file.
#include <algorithm>
#include <utility>

#include "corpus_file.h"

namespace {

constexpr size_t LOOKUPS = 1000;

// Names that the finder knows a unit by: those of its index, or, of a unit without one, those of its procedures.
std::vector<std::string> NamesOf(const DescModule* module) {
  std::vector<std::string> names;
  for (const DescGlobalName* name = module->ext->globalNames; name != nullptr; name = name->next) {
    names.emplace_back(name->name);
  }
  if (!names.empty()) {
    return names;
  }
  for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    if (proc->name[0] != 0) {
      names.emplace_back(proc->name);
    }
  }
  return names;
}

// Up to `count` names, taken evenly from all over the filled file.
std::vector<std::string> NamesOf(const std::string& path, size_t count) {
  std::vector<std::string> all;
  LoadedFile file;
  if (!file.OpenAndBuild(path) || !file.FillAll()) {
    return {};
  }
  for (const DescModule* module = file.table.Modules(); module != nullptr; module = module->next) {
    for (std::string& name : NamesOf(module)) {
      all.push_back(std::move(name));
    }
  }
  std::vector<std::string> names;
  for (size_t i = 0; i < count && !all.empty(); i++) {
    names.push_back(all[i * all.size() / count]);
  }
  return names;
}

bool Holds(const DescModule* module, const std::string& name) {
  const std::vector<std::string> names = NamesOf(module);
  return std::find(names.begin(), names.end(), name) != names.end();
}

DescModule* FindName(LoadedFile& file, const std::string& name) {
  DescModule* found = nullptr;
  file.loader.FindModuleFromName(file.table.Modules(), name.c_str(), &found, FIND_ALL);
  return found;
}

// The unit that the loader names must hold the name.
bool IsAnswered(const std::string& path, const std::vector<std::string>& names) {
  LoadedFile file;
  bool isAnswered = file.OpenAndBuild(path) && !names.empty();
  for (size_t i = 0; isAnswered && i < names.size(); i++) {
    const DescModule* found = FindName(file, names[i]);
    isAnswered = found != nullptr && Holds(found, names[i]);
  }
  return isAnswered;
}

void ColdLookup(benchmark::State& state, const std::string& path) {
  // From the last unit, so that a walk passes all the others.
  const std::vector<std::string> names = NamesOf(path, LOOKUPS);
  if (!IsAnswered(path, names)) {
    state.SkipWithError("a name is not found");
    return;
  }
  for (auto _ : state) {
    LoadedFile file;
    file.OpenAndBuild(path);
    benchmark::DoNotOptimize(FindName(file, names.back()));
  }
}

void ThousandLookups(benchmark::State& state, const std::string& path) {
  const std::vector<std::string> names = NamesOf(path, LOOKUPS);
  if (!IsAnswered(path, names)) {
    state.SkipWithError("a name is not found");
    return;
  }
  LoadedFile file;
  file.OpenAndBuild(path);
  file.FillAll();
  for (auto _ : state) {
    for (const std::string& name : names) {
      benchmark::DoNotOptimize(FindName(file, name));
    }
  }
  SetCost(state, "lookups", names.size());
}

}  // namespace

void RegisterNameLookups(const std::string& path) {
  benchmark::RegisterBenchmark(BenchmarkName("name_cold", path).c_str(), ColdLookup, path)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(BenchmarkName("names_1000", path).c_str(), ThousandLookups, path)
      ->Unit(benchmark::kMillisecond);
}
