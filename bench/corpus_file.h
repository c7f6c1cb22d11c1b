// The files that the benchmarks run over, and a file in the hands of the loader.
#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "loader/elf_loader.h"
#include "records/debug_records.h"
#include "tarnixcore/obj_file_loader.h"

// Owns the records, as the host that reads them does.
class RecordTable : public SymbolTable {
 public:
  ~RecordTable() override { Reset(nullptr); }

 protected:
  void ReleaseModules(DescModule* modules) override {
    for (DescModule* module = modules; module != nullptr; module = module->next) {
      module->heap = HEAP_Release(module->heap);
    }
  }
};

struct LoadedFile {
  bool Open(const std::string& path) { return loader.Open(path.c_str()) != 0; }
  bool OpenAndBuild(const std::string& path) { return Open(path) && loader.Build(&table) != 0; }
  // False when a unit cannot be filled.
  bool FillAll() {
    bool isWhole = true;
    for (DescModule* module = table.Modules(); module != nullptr; module = module->next) {
      isWhole = loader.Extend(module, SYM_LOAD_ALL) != 0 && isWhole;
    }
    return isWhole;
  }

  RecordTable table;
  ElfLoader loader{"ElfLoader"};
};

// A stage registers its benchmarks for one file.
void RegisterOpenAndBuild(const std::string& path);
void RegisterFillUnits(const std::string& path);
void RegisterNameLookups(const std::string& path);
void RegisterAddressLookups(const std::string& path);
void RegisterForms(const std::string& path);
void RegisterLineProgram(const std::string& path);
void RegisterLoadCode(const std::string& path);

// "STAGE/FILE", without the folder.
inline std::string BenchmarkName(const char* stage, const std::string& path) {
  return std::string(stage) + "/" + path.substr(path.find_last_of("/\\") + 1);
}

// Keeps the count of a stage beside its time, and the time of one: "entries", "rows".
inline void SetCost(benchmark::State& state, const char* what, uint64_t count) {
  const auto done = static_cast<double>(count) * static_cast<double>(state.iterations());
  state.counters[what] = static_cast<double>(count);
  state.counters[std::string("per_") + what] =
      benchmark::Counter(done, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
