// Line programs alone: the program of every unit, into heaps that go with it.
#include "dwarf2/line_program.h"

#include "corpus_file.h"
#include "dwarf2/reader_state.h"
#include "tarnixcore/list.h"

namespace {

// Runs the program of a unit and counts its rows. False when the reader fails.
bool RunProgram(ElfImage* image, const DescModule* module, uint64_t& rows) {
  DescModule scratch = *module;
  scratch.heap = HEAP_Create(0, 0, 0);
  L_list* ranges = L_Create(nullptr);
  dwarf2State.addressSize = module->ext->addressSize;
  BeginLineProgram(&scratch, ranges);
  SeekTo(image, dwarf2State.sections.line, module->ext->lineOffset);
  RunLineProgram(image);
  for (const DescLineBlock* block = dwarf2State.line.firstBlock; block != nullptr; block = block->next) {
    rows += static_cast<uint64_t>(block->count);
  }
  dwarf2State.line.codeRanges = nullptr;
  L_FreeList(&ranges, L_Nop);
  HEAP_Release(scratch.heap);
  return dwarf2State.failed == 0;
}

bool RunAll(LoadedFile& file, uint64_t& rows) {
  ClearFailure();
  LoadDwarf2Sections(file.loader.image);
  bool isWhole = dwarf2State.sections.line != nullptr;
  for (const DescModule* module = file.table.Modules(); module != nullptr && isWhole; module = module->next) {
    isWhole = RunProgram(file.loader.image, module, rows);
  }
  return isWhole;
}

void LinePrograms(benchmark::State& state, const std::string& path) {
  LoadedFile file;
  uint64_t rows = 0;
  if (!file.OpenAndBuild(path) || file.loader.debugFormat != DEBUG_FORMAT_DWARF2 || !RunAll(file, rows) || rows == 0) {
    state.SkipWithError("no file with DWARF 2, or its line programs do not run");
    return;
  }
  for (auto _ : state) {
    uint64_t again = 0;
    benchmark::DoNotOptimize(RunAll(file, again));
  }
  SetCost(state, "rows", rows);
}

}  // namespace

void RegisterLineProgram(const std::string& path) {
  benchmark::RegisterBenchmark(BenchmarkName("lines", path).c_str(), LinePrograms, path)->Unit(benchmark::kMillisecond);
}
