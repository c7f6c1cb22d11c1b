// LoadCode into the memory target: into memory that is new each time, and into memory that is there already, where the
// system has no pages to find.
#include "corpus_file.h"
#include "elf/elf_constants.h"
#include "elf/elf_image.h"
#include "loader/code_download.h"
#include "target/memory_target.h"

namespace {

uint64_t BytesWritten(elfload::MemoryTarget& target) {
  uint64_t bytes = 0;
  for (const elfload::AddressRange& range : target.Written()) {
    bytes += uint64_t{range.last} - range.first + 1;
  }
  return bytes;
}

uint64_t BytesOfSegments(const ElfImage* image) {
  uint64_t bytes = 0;
  for (uint32_t i = 0; image->programHeaders != nullptr && i < image->e_phnum; i++) {
    bytes += image->programHeaders[i].p_type == PT_LOAD ? image->programHeaders[i].p_filesz : 0;
  }
  return bytes;
}

void Load(benchmark::State& state, const std::string& path, bool newMemory) {
  LoadedFile file;
  auto memory = std::make_unique<elfload::MemoryTarget>();
  if (!file.Open(path) || file.loader.LoadCode(memory.get(), 0, LOAD_NO_PROGRESS | LOAD_VERIFY_ALL) == 0 ||
      BytesWritten(*memory) != BytesOfSegments(file.loader.image)) {
    state.SkipWithError("the file does not load, or its segments overlap");
    return;
  }
  for (auto _ : state) {
    if (newMemory) {
      state.PauseTiming();
      memory = std::make_unique<elfload::MemoryTarget>();
      state.ResumeTiming();
    }
    benchmark::DoNotOptimize(file.loader.LoadCode(memory.get(), 0, LOAD_NO_PROGRESS));
  }
  state.SetBytesProcessed(static_cast<int64_t>(BytesOfSegments(file.loader.image)) *
                          static_cast<int64_t>(state.iterations()));
}

}  // namespace

void RegisterLoadCode(const std::string& path) {
  for (const bool newMemory : {true, false}) {
    const char* name = newMemory ? "load_new_memory" : "load_same_memory";
    benchmark::RegisterBenchmark(BenchmarkName(name, path).c_str(), Load, path, newMemory)
        ->Unit(benchmark::kMicrosecond);
  }
}
