// The peer: the reader's work done with elfutils' libdw.
//
//   libdw_peer open FILE       units, all abbreviations, .debug_aranges, .debug_pubnames, .debug_frame
//   libdw_peer fill FILE       that, and every entry with name, type, size, addresses and locations, and every line row
//   libdw_peer fill-raw FILE   the same, but location lists are read from the bytes of .debug_loc and copied
//
// For a location list libdw offers dwarf_getlocations alone, which also decodes the operations of each expression and
// keeps them. `fill-raw` does with a list what the reader does, and no more.
//
// One pass over an entry's attributes with dwarf_getattrs is the quickest way that libdw offers; asking for one
// attribute after another takes longer. Writes counts and CPU seconds as one JSON object.
#include <dwarf.h>
#include <elfutils/libdw.h>
#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "process_usage.h"

namespace {

struct Counts {
  uint64_t units = 0;
  uint64_t abbreviations = 0;
  uint64_t ranges = 0;
  uint64_t names = 0;
  uint64_t frames = 0;
  uint64_t entries = 0;
  uint64_t attributes = 0;
  uint64_t locations = 0;
  uint64_t rows = 0;
  uint64_t checksum = 0;  // of the values, so that none of the work can be left out
};
Counts counts;

// .debug_loc where dwarf_getlocations is not asked; null where it is.
struct RawLists {
  const unsigned char* bytes = nullptr;
  size_t size = 0;
  bool isBigEndian = false;
  size_t addressSize = 4;  // of the unit in hand
  std::vector<unsigned char> copy;
};
RawLists rawLists;

[[noreturn]] void Stop(const char* what) {
  std::fprintf(stderr, "libdw_peer: %s: %s\n", what, dwarf_errmsg(-1));
  std::exit(1);
}

std::vector<Dwarf_Die> ReadUnits(Dwarf* dwarf) {
  std::vector<Dwarf_Die> units;
  Dwarf_Off offset = 0;
  Dwarf_Off next = 0;
  size_t headerSize = 0;
  while (dwarf_nextcu(dwarf, offset, &next, &headerSize, nullptr, nullptr, nullptr) == 0) {
    Dwarf_Die die;
    if (dwarf_offdie(dwarf, offset + headerSize, &die) == nullptr) {
      Stop("unit");
    }
    units.push_back(die);
    offset = next;
  }
  counts.units = units.size();
  return units;
}

void ReadAbbreviations(std::vector<Dwarf_Die>& units) {
  for (Dwarf_Die& unit : units) {
    Dwarf_Off offset = 0;
    for (;;) {
      size_t length = 0;
      Dwarf_Abbrev* abbrev = dwarf_getabbrev(&unit, offset, &length);
      if (abbrev == nullptr || abbrev == DWARF_END_ABBREV) {
        break;
      }
      counts.abbreviations++;
      offset += length;
    }
  }
}

void ReadAddressRanges(Dwarf* dwarf) {
  Dwarf_Aranges* ranges = nullptr;
  size_t count = 0;
  if (dwarf_getaranges(dwarf, &ranges, &count) == 0) {
    counts.ranges = count;
  }
}

int TakeName(Dwarf*, Dwarf_Global* global, void*) {
  counts.names++;
  counts.checksum += static_cast<unsigned char>(global->name[0]);
  return DWARF_CB_OK;
}

// The data of a section, or null.
Elf_Data* SectionData(Elf* elf, const char* wanted) {
  size_t names = 0;
  elf_getshdrstrndx(elf, &names);
  for (Elf_Scn* section = elf_nextscn(elf, nullptr); section != nullptr; section = elf_nextscn(elf, section)) {
    GElf_Shdr header;
    gelf_getshdr(section, &header);
    const char* name = elf_strptr(elf, names, header.sh_name);
    if (name != nullptr && std::strcmp(name, wanted) == 0) {
      return elf_getdata(section, nullptr);
    }
  }
  return nullptr;
}

void ReadFrames(Dwarf* dwarf) {
  Elf* elf = dwarf_getelf(dwarf);
  Elf_Data* data = SectionData(elf, ".debug_frame");
  if (data == nullptr) {
    return;
  }
  const auto* ident = reinterpret_cast<const unsigned char*>(elf_getident(elf, nullptr));
  Dwarf_Off offset = 0;
  Dwarf_Off next = 0;
  Dwarf_CFI_Entry entry;
  for (; dwarf_next_cfi(ident, data, false, offset, &next, &entry) == 0; offset = next) {
    if (!dwarf_cfi_cie_p(&entry)) {
      counts.frames++;
      counts.checksum += *entry.fde.start;
    }
  }
}

uint64_t RawNumber(size_t& offset, size_t size) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; i++) {
    const uint64_t byte = rawLists.bytes[offset + (rawLists.isBigEndian ? i : size - 1 - i)];
    value = value << 8 | byte;
  }
  offset += size;
  return value;
}

void TakeRawList(size_t offset) {
  const size_t addressSize = rawLists.addressSize;
  const uint64_t baseMark = addressSize == 4 ? 0xFFFFFFFF : UINT64_MAX;
  while (offset + 2 * addressSize + 2 <= rawLists.size) {
    const uint64_t low = RawNumber(offset, addressSize);
    const uint64_t high = RawNumber(offset, addressSize);
    if (low == 0 && high == 0) {
      return;
    }
    if (low == baseMark) {
      continue;
    }
    const size_t length = RawNumber(offset, 2);
    if (length > rawLists.size - offset) {
      return;
    }
    rawLists.copy.assign(rawLists.bytes + offset, rawLists.bytes + offset + length);
    offset += length;
    counts.locations++;
    counts.checksum += low + high + (length > 0 ? rawLists.copy[0] : 0);
  }
}

void TakeLocations(Dwarf_Attribute* attribute) {
  Dwarf_Block block;
  if (dwarf_formblock(attribute, &block) == 0) {
    counts.locations++;
    counts.checksum += block.length;
    return;
  }
  if (rawLists.bytes != nullptr) {
    Dwarf_Word offset = 0;
    if (dwarf_formudata(attribute, &offset) == 0) {
      TakeRawList(offset);
    }
    return;
  }
  Dwarf_Addr base = 0;
  Dwarf_Addr low = 0;
  Dwarf_Addr high = 0;
  Dwarf_Op* operations = nullptr;
  size_t length = 0;
  ptrdiff_t offset = 0;
  while ((offset = dwarf_getlocations(attribute, offset, &base, &low, &high, &operations, &length)) > 0) {
    counts.locations++;
    counts.checksum += low + high + length;
  }
}

int TakeAttribute(Dwarf_Attribute* attribute, void*) {
  counts.attributes++;
  switch (dwarf_whatattr(attribute)) {
    case DW_AT_name:
      if (const char* name = dwarf_formstring(attribute)) {
        counts.checksum += std::strlen(name);
      }
      break;
    case DW_AT_type: {
      Dwarf_Die type;
      if (dwarf_formref_die(attribute, &type) != nullptr) {
        counts.checksum += dwarf_dieoffset(&type);
      }
      break;
    }
    case DW_AT_byte_size: {
      Dwarf_Word size = 0;
      if (dwarf_formudata(attribute, &size) == 0) {
        counts.checksum += size;
      }
      break;
    }
    case DW_AT_low_pc:
    case DW_AT_high_pc: {
      Dwarf_Addr address = 0;
      if (dwarf_formaddr(attribute, &address) == 0) {
        counts.checksum += address;
      }
      break;
    }
    case DW_AT_location:
    case DW_AT_data_member_location:
    case DW_AT_frame_base:
      TakeLocations(attribute);
      break;
    default:
      break;
  }
  return DWARF_CB_OK;
}

void ReadEntries(Dwarf_Die* first) {
  Dwarf_Die entry = *first;
  do {
    counts.entries++;
    dwarf_getattrs(&entry, TakeAttribute, nullptr, 0);
    Dwarf_Die child;
    if (dwarf_child(&entry, &child) == 0) {
      ReadEntries(&child);
    }
  } while (dwarf_siblingof(&entry, &entry) == 0);
}

void FindRawLists(Dwarf* dwarf) {
  Elf* elf = dwarf_getelf(dwarf);
  if (const Elf_Data* data = SectionData(elf, ".debug_loc")) {
    rawLists.bytes = static_cast<const unsigned char*>(data->d_buf);
    rawLists.size = data->d_size;
    rawLists.isBigEndian = elf_getident(elf, nullptr)[EI_DATA] == ELFDATA2MSB;
  }
}

void ReadLines(Dwarf_Die* unit) {
  Dwarf_Lines* lines = nullptr;
  size_t count = 0;
  if (dwarf_getsrclines(unit, &lines, &count) != 0) {
    return;
  }
  for (size_t i = 0; i < count; i++) {
    Dwarf_Line* row = dwarf_onesrcline(lines, i);
    Dwarf_Addr address = 0;
    int line = 0;
    int column = 0;
    dwarf_lineaddr(row, &address);
    dwarf_lineno(row, &line);
    dwarf_linecol(row, &column);
    const char* file = dwarf_linesrc(row, nullptr, nullptr);
    counts.checksum += address + static_cast<unsigned>(line) + static_cast<unsigned>(column) + (file != nullptr);
  }
  counts.rows += count;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc == 3 ? argv[1] : "";
  if (mode != "open" && mode != "fill" && mode != "fill-raw") {
    std::fprintf(stderr, "usage: libdw_peer open|fill|fill-raw FILE\n");
    return 2;
  }
  UsageReport report("libdw");
  report.BeginPhase("open");
  const int descriptor = open(argv[2], O_RDONLY);
  Dwarf* dwarf = descriptor < 0 ? nullptr : dwarf_begin(descriptor, DWARF_C_READ);
  if (dwarf == nullptr) {
    Stop(argv[2]);
  }
  report.EndPhase();

  report.BeginPhase("build");
  std::vector<Dwarf_Die> units = ReadUnits(dwarf);
  ReadAbbreviations(units);
  ReadAddressRanges(dwarf);
  dwarf_getpubnames(dwarf, TakeName, nullptr, 0);
  ReadFrames(dwarf);
  report.EndPhase();

  if (mode != "open") {
    report.BeginPhase("entries");
    if (mode == "fill-raw") {
      FindRawLists(dwarf);
    }
    for (Dwarf_Die& unit : units) {
      Dwarf_Die same;
      uint8_t addressSize = 0;
      dwarf_diecu(&unit, &same, &addressSize, nullptr);
      rawLists.addressSize = addressSize;
      ReadEntries(&unit);
    }
    report.EndPhase();
    report.BeginPhase("lines");
    for (Dwarf_Die& unit : units) {
      ReadLines(&unit);
    }
    report.EndPhase();
  }

  report.Count("units", counts.units);
  report.Count("abbreviations", counts.abbreviations);
  report.Count("ranges", counts.ranges);
  report.Count("names", counts.names);
  report.Count("frames", counts.frames);
  report.Count("entries", counts.entries);
  report.Count("attributes", counts.attributes);
  report.Count("locations", counts.locations);
  report.Count("rows", counts.rows);
  report.Count("checksum", counts.checksum);
  report.Write();
  dwarf_end(dwarf);
  close(descriptor);
  return 0;
}
