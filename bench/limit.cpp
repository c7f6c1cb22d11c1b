// The limit: the cheapest possible pass over all forms of .debug_info, and every line program run without output.
//
//   elfload_limit FILE
//
// The whole file is in memory. Each abbreviation becomes a plan once: how many bytes to skip, then a string, a
// number or a block, and so on; the pass then follows the plans from entry to entry and looks at nothing. Writes counts
// and CPU seconds as one JSON object. The seconds of `load` are not part of the limit.
#include "limit.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <unordered_map>
#include <vector>

#include "dwarf2/dwarf2_constants.h"
#include "elf/sections.h"
#include "process_usage.h"
#include "tarnixcore/files.h"

namespace {

enum class StepKind : uint8_t { end, string, uleb, block1, block2, block4, blockUleb, indirect };

// Bytes to skip, and what follows them.
struct Step {
  uint16_t bytes;
  StepKind kind;
};
struct Plan {
  std::vector<Step> steps;
  uint32_t attributes = 0;
};
using Plans = std::vector<Plan>;  // by abbreviation code

struct Counts {
  uint64_t units = 0;
  uint64_t abbreviations = 0;
  uint64_t entries = 0;
  uint64_t attributes = 0;
};

[[noreturn]] void Stop(const char* what) {
  std::fprintf(stderr, "elfload_limit: %s\n", what);
  std::exit(1);
}

// Size of the value of a form, or -1 for one whose size is in its bytes.
int FixedSize(uint32_t form, uint8_t addressSize) {
  switch (form) {
    case DW_FORM_addr:
    case DW_FORM_ref_addr:
      return addressSize;
    case DW_FORM_data1:
    case DW_FORM_flag:
    case DW_FORM_ref1:
      return 1;
    case DW_FORM_data2:
    case DW_FORM_ref2:
      return 2;
    case DW_FORM_data4:
    case DW_FORM_ref4:
    case DW_FORM_strp:
      return 4;
    case DW_FORM_data8:
    case DW_FORM_ref8:
      return 8;
    default:
      return -1;
  }
}

StepKind KindOf(uint32_t form) {
  switch (form) {
    case DW_FORM_string:
      return StepKind::string;
    case DW_FORM_sdata:
    case DW_FORM_udata:
    case DW_FORM_ref_udata:
      return StepKind::uleb;
    case DW_FORM_block1:
      return StepKind::block1;
    case DW_FORM_block2:
      return StepKind::block2;
    case DW_FORM_block4:
      return StepKind::block4;
    case DW_FORM_block:
      return StepKind::blockUleb;
    case DW_FORM_indirect:
      return StepKind::indirect;
    default:
      Stop("a form that DWARF 2 does not have");
  }
}

Plans MakePlans(Bytes abbrev, uint32_t offset, uint8_t addressSize) {
  Plans plans;
  const uint8_t* next = abbrev.begin + offset;
  while (next < abbrev.end) {
    const uint32_t code = TakeUleb(next);
    if (code == 0) {
      break;
    }
    TakeUleb(next);
    next++;
    Plan plan;
    uint16_t bytes = 0;
    while (next < abbrev.end) {
      const uint32_t attribute = TakeUleb(next);
      const uint32_t form = TakeUleb(next);
      if (attribute == 0 || form == 0) {
        break;
      }
      plan.attributes++;
      if (const int size = FixedSize(form, addressSize); size >= 0) {
        bytes = static_cast<uint16_t>(bytes + size);
      } else {
        plan.steps.push_back({bytes, KindOf(form)});
        bytes = 0;
      }
    }
    plan.steps.push_back({bytes, StepKind::end});
    if (code > 0xFFFFF) {
      Stop("an abbreviation code too large for a table");
    }
    if (plans.size() <= code) {
      plans.resize(code + 1);
    }
    plans[code] = plan;
  }
  return plans;
}

void SkipIndirect(const uint8_t*& next, uint8_t addressSize) {
  const uint32_t form = TakeUleb(next);
  const int size = FixedSize(form, addressSize);
  if (size < 0) {
    Stop("an indirect form of variable size");
  }
  next += size;
}

void SkipEntry(const uint8_t*& next, const uint8_t* end, const Plan& plan, uint8_t addressSize, bool isLittleEndian) {
  for (const Step* step = plan.steps.data();; step++) {
    next += step->bytes;
    if (next > end) {
      return;
    }
    switch (step->kind) {
      case StepKind::end:
        return;
      case StepKind::string:
        next += std::strlen(reinterpret_cast<const char*>(next)) + 1;
        break;
      case StepKind::uleb:
        TakeUleb(next);
        break;
      case StepKind::block1:
        next += 1 + *next;
        break;
      case StepKind::block2: {
        const uint32_t length = TakeNumber(next, 2, isLittleEndian);
        next += length;
        break;
      }
      case StepKind::block4: {
        const uint32_t length = TakeNumber(next, 4, isLittleEndian);
        next += length;
        break;
      }
      case StepKind::blockUleb: {
        const uint32_t length = TakeUleb(next);
        next += length;
        break;
      }
      case StepKind::indirect:
        SkipIndirect(next, addressSize);
        break;
    }
  }
}

void SkipUnit(const uint8_t* next, const uint8_t* end, const Plans& plans, uint8_t addressSize, bool isLittleEndian,
              Counts& counts) {
  while (next < end) {
    const uint32_t code = TakeUleb(next);
    if (code == 0) {
      continue;
    }
    if (code >= plans.size() || plans[code].steps.empty()) {
      Stop("an entry without abbreviation");
    }
    counts.entries++;
    counts.attributes += plans[code].attributes;
    SkipEntry(next, end, plans[code], addressSize, isLittleEndian);
  }
  if (next != end) {
    Stop("an entry that leads out of its unit");
  }
}

// Unit header: unit_length 4, version 2, debug_abbrev_offset 4, address_size 1.
void SkipUnits(Bytes info, Bytes abbrev, bool isLittleEndian, Counts& counts) {
  std::unordered_map<uint32_t, Plans> plansByOffset;
  const uint8_t* next = info.begin;
  while (next < info.end) {
    const uint32_t length = TakeNumber(next, 4, isLittleEndian);
    if (length < 7 || length > static_cast<size_t>(info.end - next)) {
      Stop("a unit that leads out of its section");
    }
    const uint8_t* end = next + length;
    TakeNumber(next, 2, isLittleEndian);
    const uint32_t offset = TakeNumber(next, 4, isLittleEndian);
    const uint8_t addressSize = *next++;
    const auto [plans, isNew] = plansByOffset.try_emplace(offset);
    if (isNew) {
      plans->second = MakePlans(abbrev, offset, addressSize);
      counts.abbreviations += plans->second.size();
    }
    SkipUnit(next, end, plans->second, addressSize, isLittleEndian, counts);
    counts.units++;
    next = end;
  }
}

Bytes SectionIn(const std::vector<char>& file, const ElfImage* image, const char* name) {
  const ElfSectionHeader* header = ELF_FindSection(image, name);
  const size_t size = file.size() - LIMIT_PADDING;
  if (header == nullptr || header->sh_offset > size || header->sh_size > size - header->sh_offset) {
    return {};
  }
  const auto* begin = reinterpret_cast<const uint8_t*>(file.data()) + header->sh_offset;
  return {begin, begin + header->sh_size};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: elfload_limit FILE\n");
    return 2;
  }
  UsageReport report("limit");
  report.BeginPhase("load");
  char fullPath[FE_NAME_SIZE];
  Failure failure;
  ElfImage* image = ELF_Open(argv[1], fullPath, sizeof(fullPath), &failure);
  if (image == nullptr) {
    return 1;
  }
  std::ifstream stream(fullPath, std::ios::binary);
  stream.seekg(0, std::ios::end);
  std::vector<char> file(static_cast<size_t>(stream.tellg()) + LIMIT_PADDING);
  stream.seekg(0);
  stream.read(file.data(), static_cast<std::streamsize>(file.size() - LIMIT_PADDING));
  const bool isLittleEndian = image->littleEndian != 0;
  const Bytes info = SectionIn(file, image, ".debug_info");
  const Bytes abbrev = SectionIn(file, image, ".debug_abbrev");
  const Bytes line = SectionIn(file, image, ".debug_line");
  ELF_Close(image);
  report.EndPhase();

  Counts counts;
  report.BeginPhase("entries");
  SkipUnits(info, abbrev, isLittleEndian, counts);
  report.EndPhase();
  LineCounts lines;
  report.BeginPhase("lines");
  if (!RunLinePrograms(line, isLittleEndian, lines)) {
    Stop("a line program that leads out of its section");
  }
  report.EndPhase();

  report.Count("units", counts.units);
  report.Count("entries", counts.entries);
  report.Count("attributes", counts.attributes);
  report.Count("rows", lines.rows);
  report.Count("checksum", lines.checksum);
  report.Write();
  return 0;
}
