// Cuts and falsifies files, and runs the whole component on every variant, by both sets of rules.
//
//   fuzz_mutate VARIANTS FOLDER-OR-FILE...
//
// About VARIANTS in all: each file is cut off at every length, or at lengths spread evenly where that is too many; each
// byte of its headers is falsified; and bytes anywhere are. The sound files of the fuzz targets take part. A variant
// that crashes, takes too long or too much memory ends the run with its description. Cut off files are read from the
// disk, all others from memory.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "host_run.h"
#include "sound_files.h"
#include "support/random.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int SECONDS_PER_VARIANT = 10;
constexpr size_t SMALL_FILE =
    4096;  // bytes: figures per byte are of files above it, where fixed costs do not hide them

struct Original {
  std::string name;
  RawBytes bytes;
};

char description[256];  // of the variant that runs
std::atomic<unsigned> variantsBegun{0};

void Describe(const Original& original, const char* change, size_t place) {
  std::snprintf(description, sizeof(description), "%s: %s %zu", original.name.c_str(), change, place);
}

void ReportSignal(int number) {
  std::signal(number, SIG_DFL);
  std::fprintf(stderr, "\nsignal %d: %s\n", number, description);
  std::raise(number);
}

// Ends the process when a variant does not end.
void WatchTime() {
  for (;;) {
    const unsigned before = variantsBegun;
    std::this_thread::sleep_for(std::chrono::seconds(SECONDS_PER_VARIANT));
    if (variantsBegun == before) {
      std::fprintf(stderr, "\ntoo long: %s\n", description);
      std::_Exit(1);
    }
  }
}

struct Worst {
  double value = 0;
  std::string what;
  void Take(double newValue) {
    if (newValue > value) {
      value = newValue;
      what = description;
    }
  }
};

class Campaign {
 public:
  void Run(const RawBytes& bytes, FileFrom from = FileFrom::memory) {
    const auto start = Clock::now();
    ++variantsBegun;
    const RunFigures figures = RunAsHost(bytes, from);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    ++variants_;
    opened_ += figures.opened ? 1 : 0;
    longest_.Take(seconds * 1e3);
    if (bytes.size() >= SMALL_FILE) {
      slowest_.Take(seconds * 1e9 / static_cast<double>(bytes.size()));
      largest_.Take(static_cast<double>(figures.heapBytes) / static_cast<double>(bytes.size()));
    }
  }

  void Report() const {
    std::fprintf(stderr, "%d variants, %d of them opened\n", variants_, opened_);
    std::fprintf(stderr, "longest: %.1f ms, %s\n", longest_.value, longest_.what.c_str());
    std::fprintf(stderr, "slowest: %.0f ns for each byte of the file, %s\n", slowest_.value, slowest_.what.c_str());
    std::fprintf(stderr, "largest: %.1f bytes of records for each, %s\n", largest_.value, largest_.what.c_str());
  }

 private:
  int variants_ = 0;
  int opened_ = 0;
  Worst longest_;
  Worst slowest_;
  Worst largest_;
};

void CutOff(Campaign& campaign, const Original& original, size_t count) {
  const size_t step = std::max<size_t>(1, original.bytes.size() / std::max<size_t>(1, count));
  for (size_t length = 0; length < original.bytes.size(); length += step) {
    Describe(original, "cut off at", length);
    campaign.Run(RawBytes(original.bytes.begin(), original.bytes.begin() + static_cast<std::ptrdiff_t>(length)),
                 FileFrom::disk);
  }
}

// The ELF header and the two tables, which are at the ends of files that linkers write.
void FalsifyHeaders(Campaign& campaign, const Original& original, size_t count, Random& random) {
  constexpr size_t FRONT = 52 + 4 * 32;
  constexpr size_t BACK = size_t{20} * 40;
  std::vector<size_t> places;
  for (size_t i = 0; i < original.bytes.size(); ++i) {
    if (i < FRONT || i + BACK >= original.bytes.size()) {
      places.push_back(i);
    }
  }
  const size_t step = std::max<size_t>(1, places.size() / std::max<size_t>(1, count));
  for (size_t i = 0; i < places.size(); i += step) {
    RawBytes bytes = original.bytes;
    bytes[places[i]] ^= static_cast<uint8_t>(i % 2 == 0 ? 0xFF : 1 + random.below(255));
    Describe(original, "header byte", places[i]);
    campaign.Run(bytes);
  }
}

// One to eight changes: a byte, a number that is an edge of something, or bytes from elsewhere in the file.
void Falsify(RawBytes& bytes, Random& random) {
  constexpr uint32_t edges[] = {0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const auto size = static_cast<uint32_t>(bytes.size());
  for (uint32_t changes = 1 + random.below(8); changes > 0; --changes) {
    const uint32_t place = random.below(size);
    const uint32_t length = std::min(size - place, 1u << random.below(3));
    const uint32_t number = edges[random.below(std::size(edges))];
    const uint32_t from = random.below(size - length + 1);
    const uint32_t kind = random.below(4);
    for (uint32_t i = 0; i < length; ++i) {
      bytes[place + i] = kind == 0   ? static_cast<uint8_t>(number >> 8 * i)
                         : kind == 1 ? static_cast<uint8_t>(number >> 8 * (length - 1 - i))
                         : kind == 2 ? bytes[from + i]
                                     : static_cast<uint8_t>(random.below(256));
    }
  }
}

void FalsifyAnywhere(Campaign& campaign, const Original& original, size_t count, Random& random) {
  for (size_t i = 0; i < count; ++i) {
    RawBytes bytes = original.bytes;
    Falsify(bytes, random);
    Describe(original, "random change", i);
    campaign.Run(bytes);
  }
}

Original ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {path.filename().string(), RawBytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>())};
}

std::vector<Original> Originals(int argc, char** argv) {
  std::vector<Original> originals;
  for (const ByteOrder order : bothOrders) {
    originals.push_back({"sound DWARF 1", MakeSoundFile(SoundFormat::dwarf1, order)});
    originals.push_back({"sound DWARF 2", MakeSoundFile(SoundFormat::dwarf2, order)});
    originals.push_back({"sound DWARF 4 and 5", MakeSoundFile(SoundFormat::later, order)});
  }
  const auto soundFiles = static_cast<std::ptrdiff_t>(originals.size());
  for (int i = 0; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      originals.push_back(ReadFile(argv[i]));
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      originals.push_back(ReadFile(entry.path()));
    }
  }
  std::sort(originals.begin() + soundFiles, originals.end(),
            [](const Original& a, const Original& b) { return a.name < b.name; });
  return originals;
}

}  // namespace

int main(int argc, char** argv) {
  const size_t variants = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0;
  if (variants == 0) {
    std::fputs("usage: fuzz_mutate VARIANTS FOLDER-OR-FILE...\n", stderr);
    return 2;
  }
  for (const int number : {SIGSEGV, SIGABRT, SIGFPE, SIGILL}) {
    std::signal(number, ReportSignal);
  }
  std::thread(WatchTime).detach();

  Campaign campaign;
  Random random(6);
  const std::vector<Original> originals = Originals(argc - 2, argv + 2);
  const size_t share = variants / originals.size();
  for (const Original& original : originals) {
    CutOff(campaign, original, share / 4);
    FalsifyHeaders(campaign, original, share / 8, random);
    FalsifyAnywhere(campaign, original, share * 5 / 8, random);
  }
  campaign.Report();
  return 0;
}
