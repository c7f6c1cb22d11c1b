// Times the stages of the reader over real files.
//
//   elfload_bench [--benchmark_filter=REGEX and the like] FILE...
//
// ELFLOAD_BENCH_FILES names files, separated by colons, where the command line names none.
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "corpus_file.h"

namespace {

std::vector<std::string> FilesOf(int argc, char** argv) {
  std::vector<std::string> files(argv + 1, argv + argc);
  const char* fallback = std::getenv("ELFLOAD_BENCH_FILES");
  if (files.empty() && fallback != nullptr) {
    std::istringstream list(fallback);
    for (std::string file; std::getline(list, file, ':');) {
      files.push_back(file);
    }
  }
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const std::vector<std::string> files = FilesOf(argc, argv);
  if (files.empty()) {
    std::puts("skipped: no file given, neither on the command line nor in ELFLOAD_BENCH_FILES");
    return 0;
  }
  for (const std::string& file : files) {
    RegisterOpenAndBuild(file);
    RegisterFillUnits(file);
    RegisterNameLookups(file);
    RegisterAddressLookups(file);
    RegisterForms(file);
    RegisterLineProgram(file);
    RegisterLoadCode(file);
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
