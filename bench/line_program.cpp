// Line programs alone: the program of every unit, into heaps that go with it.
#include "dwarf2/lines/line_program.h"

#include "corpus_file.h"
#include "dwarf2/sections.h"
#include "tarnixcore/list.h"

namespace {

class ProgramRunner {
 public:
  explicit ProgramRunner(const ElfImage* image) : sections_(FindDwarf2Sections(image)) {
    allowance_.Grant(static_cast<uint64_t>(image->file->Size()));
    deadCode_.Use(image);
    program_.Use(image->file, ELF_IsLittleEndian(image), &sections_, &deadCode_);
  }

  // Runs the program of a unit and counts its rows. False when the reader fails.
  bool Run(const DescModule* module, uint64_t& rows) {
    mem_desc* heap = HEAP_Create(0, 0, 0);
    L_list* ranges = L_Create(nullptr);
    heap_.Use(heap);
    const UnitForms unit = {.addressSize = module->ext->addressSize, .unitBase = module->ext->unitOffset};
    program_.Run(module->ext->lineOffset, unit, ranges, &opcodeBase_);
    for (const DescLineBlock* block = program_.Blocks(); block != nullptr; block = block->next) {
      rows += static_cast<uint64_t>(block->count);
    }
    L_FreeList(&ranges, L_Nop);
    HEAP_Release(heap);
    return !failure_;
  }

 private:
  Failure failure_;
  Allowance allowance_;
  Dwarf2Sections sections_;
  DeadCode deadCode_;
  RecordHeap heap_{&failure_, &allowance_};
  LineProgram program_{&failure_, &allowance_, &heap_};
  uint8_t opcodeBase_ = 0;
};

bool RunAll(LoadedFile& file, uint64_t& rows) {
  ProgramRunner runner(file.loader.image);
  bool isWhole = true;
  for (const DescModule* module = file.table.Modules(); module != nullptr && isWhole; module = module->next) {
    isWhole = runner.Run(module, rows);
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
