// Look-ups by address: one from a cold start, Open and Build counted, and a thousand in a built file.
#include "corpus_file.h"

namespace {

constexpr size_t LOOKUPS = 1000;

// Up to `count` addresses of procedures, taken evenly from all over the file.
std::vector<uint32_t> AddressesOf(const std::string& path, size_t count) {
  std::vector<uint32_t> all;
  LoadedFile file;
  if (!file.OpenAndBuild(path) || !file.FillAll()) {
    return {};
  }
  for (const DescModule* module = file.table.Modules(); module != nullptr; module = module->next) {
    for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
      if (proc->lowPc != 0 && proc->highPc > proc->lowPc) {
        all.push_back(proc->lowPc);
      }
    }
  }
  std::vector<uint32_t> addresses;
  for (size_t i = 0; i < count && !all.empty(); i++) {
    addresses.push_back(all[i * all.size() / count]);
  }
  return addresses;
}

DescModule* FindAddress(LoadedFile& file, uint32_t address) {
  DescModule* found = nullptr;
  file.loader.FindModuleFromAdr(file.table.Modules(), Address{address, 0}, &found, FIND_CODE);
  return found;
}

bool IsInIndexes(const DescModule* module, uint32_t address) {
  if (module->hasRange != 0 && address >= module->lowPc && address < module->highPc) {
    return true;
  }
  for (const DescAddrRange* range = module->ext->addrRanges; range != nullptr; range = range->next) {
    if (address >= range->low && address <= range->high) {
      return true;
    }
  }
  return false;
}

bool IsInProcs(const DescModule* module, uint32_t address) {
  for (const DescProc* proc = module->procs; proc != nullptr; proc = proc->next) {
    if (address >= proc->lowPc && address < proc->highPc) {
      return true;
    }
  }
  return false;
}

// Addresses of linked-out code are found nowhere; a unit that is found must hold the address.
bool IsAnswered(const std::string& path, const std::vector<uint32_t>& addresses) {
  LoadedFile file;
  if (!file.OpenAndBuild(path) || addresses.empty()) {
    return false;
  }
  size_t answered = 0;
  for (const uint32_t address : addresses) {
    const DescModule* found = FindAddress(file, address);
    if (found != nullptr && !IsInIndexes(found, address) && !IsInProcs(found, address)) {
      return false;
    }
    answered += found != nullptr ? 1 : 0;
  }
  return answered * 2 > addresses.size();
}

void ColdLookup(benchmark::State& state, const std::string& path) {
  const std::vector<uint32_t> addresses = AddressesOf(path, LOOKUPS);
  if (!IsAnswered(path, addresses)) {
    state.SkipWithError("an address is answered with a unit that does not hold it");
    return;
  }
  for (auto _ : state) {
    LoadedFile file;
    file.OpenAndBuild(path);
    benchmark::DoNotOptimize(FindAddress(file, addresses.back()));
  }
}

void ThousandLookups(benchmark::State& state, const std::string& path) {
  const std::vector<uint32_t> addresses = AddressesOf(path, LOOKUPS);
  if (!IsAnswered(path, addresses)) {
    state.SkipWithError("an address is answered with a unit that does not hold it");
    return;
  }
  LoadedFile file;
  file.OpenAndBuild(path);
  file.FillAll();
  for (auto _ : state) {
    for (const uint32_t address : addresses) {
      benchmark::DoNotOptimize(FindAddress(file, address));
    }
  }
  SetCost(state, "lookups", addresses.size());
}

}  // namespace

void RegisterAddressLookups(const std::string& path) {
  benchmark::RegisterBenchmark(BenchmarkName("address_cold", path).c_str(), ColdLookup, path)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(BenchmarkName("addresses_1000", path).c_str(), ThousandLookups, path)
      ->Unit(benchmark::kMillisecond);
}
