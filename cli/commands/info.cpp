// elfload info: what the file is for and what it holds.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "commands/commands.h"
#include "json/session_json.h"
#include "session/elf_tables.h"
#include "session/open_failure.h"
#include "terminal/palette.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

struct FileInfo {
  int known = 0;  // result of GetInfo
  std::string processor;
  uint32_t entry = 0;
  LoaderState state;
  ElfTables tables;
  DwarfRules rules = DwarfRules::published;
  UnitSummary units;                      // by the published rules
  std::vector<std::string_view> indexes;  // names of sections, as the file has them
};

struct TypeRow {
  uint32_t type;
  const char* name;
};
constexpr TypeRow segmentTypes[] = {
    {0, "NULL"}, {1, "LOAD"}, {2, "DYNAMIC"}, {3, "INTERP"}, {4, "NOTE"}, {5, "SHLIB"}, {6, "PHDR"}, {7, "TLS"},
};
constexpr TypeRow sectionTypes[] = {
    {0, "NULL"},    {1, "PROGBITS"}, {2, "SYMTAB"}, {3, "STRTAB"}, {4, "RELA"},   {5, "HASH"},
    {6, "DYNAMIC"}, {7, "NOTE"},     {8, "NOBITS"}, {9, "REL"},    {10, "SHLIB"}, {11, "DYNSYM"},
};

// "0x70000001" for a type without a name here.
template <size_t size>
std::string TypeName(const TypeRow (&rows)[size], uint32_t type) {
  for (const TypeRow& row : rows) {
    if (row.type == type) return row.name;
  }
  return fmt::format("0x{:X}", type);
}

const char* FormatName(uint32_t debugFormat) {
  constexpr const char* names[] = {"none", "DWARF 1", "DWARF 2"};
  return debugFormat < std::size(names) ? names[debugFormat] : "?";
}

// Sections by which a debugger finds names, addresses and frames without reading the units.
constexpr std::string_view indexSections[] = {
    ".debug_pubnames", ".debug_pubtypes", ".debug_gnu_pubnames", ".debug_gnu_pubtypes", ".debug_names",
    ".gdb_index",      ".debug_aranges",  ".debug_frame",        ".eh_frame",           ".debug_cu_index",
};

std::vector<std::string_view> FindIndexes(const ElfTables& tables) {
  std::vector<std::string_view> found;
  for (const ElfSection& section : tables.sections) {
    const bool isIndex =
        std::find(std::begin(indexSections), std::end(indexSections), section.name) != std::end(indexSections);
    if (isIndex) found.push_back(section.name);
  }
  return found;
}

std::string UnitCount(uint32_t count, const char* kind = "") {
  return fmt::format("{} {}{}", count, kind, count == 1 ? "unit" : "units");
}

// The format with the versions of the units, where they are known.
std::string FormatText(const FileInfo& info) {
  if (info.units.versions.empty()) return FormatName(info.state.debugFormat);
  std::string text;
  for (const auto& [version, counts] : info.units.versions) {
    text += fmt::format("{}DWARF {} ({}", text.empty() ? "" : ", ", version, UnitCount(counts.units));
    if (counts.partialUnits != 0) text += ", " + UnitCount(counts.partialUnits, "partial ");
    if (counts.typeUnits != 0) text += ", " + UnitCount(counts.typeUnits, "type ");
    text += ")";
  }
  return text;
}

const char* RulesName(DwarfRules rules) {
  return rules == DwarfRules::published ? "published" : "loader";
}

std::string FlagLetters(uint32_t flags, const char* letters) {
  std::string text;
  for (uint32_t bit = 0; letters[bit] != '\0'; bit++) text += (flags & (1u << bit)) != 0 ? letters[bit] : '-';
  return text;
}

void WriteTables(const ElfTables& tables, const Palette& paint, Output& out) {
  out.Print("\n{}\n", paint(Paint::heading, "segments  type      virtual     physical    in file   in memory  flags"));
  size_t number = 0;
  for (const ElfSegment& segment : tables.segments) {
    out.Print("{:>8}  {:<8}  0x{:08X}  0x{:08X}  {:>8}  {:>9}  {}{}{}\n", number++,
              TypeName(segmentTypes, segment.type), segment.vaddr, segment.paddr, segment.filesz, segment.memsz,
              (segment.flags & 4) != 0 ? 'r' : '-', (segment.flags & 2) != 0 ? 'w' : '-',
              (segment.flags & 1) != 0 ? 'x' : '-');
  }
  out.Print("\n{}\n", paint(Paint::heading, "sections  type        address     offset        size  flags  name"));
  number = 1;
  for (const ElfSection& section : tables.sections) {
    out.Print("{:>8}  {:<10}  0x{:08X}  {:>8}  {:>8}  {:<5}  {}{}\n", number++, TypeName(sectionTypes, section.type),
              section.addr, section.offset, section.size, FlagLetters(section.flags, "wax"),
              PrintableName(section.name), section.nameIsCut ? "..." : "");
  }
  if (!tables.damage.empty()) out.Put('\n');
  for (const std::string& what : tables.damage) out.Print("damaged: {}\n", what);
}

void WriteText(const FileInfo& info, const Options& options, Output& out) {
  const Palette paint(options.color, out);
  const auto line = [&out, &paint](const char* what, const std::string& value) {
    out.Print("{}  {}\n", paint(Paint::faint, fmt::format("{:<12}", what)), value);
  };
  const bool isKnown = info.known != 0;
  line("file", Printable(options.file));
  line("processor",
       isKnown ? Printable(info.processor) : fmt::format("not known to the loader (e_machine {})", info.state.machine));
  line("entry", fmt::format("0x{:08X}", info.entry));
  line("byte order", info.state.littleEndian ? "little-endian" : "big-endian");
  line("debug format", FormatText(info));
  line("rules", RulesName(info.rules));
  const char* title = "producers";
  for (const auto& [producer, count] : info.units.producers) {
    line(title, fmt::format("{} ({})", producer.empty() ? "not said" : PrintableName(producer), UnitCount(count)));
    title = "";
  }
  line("indexes", info.indexes.empty() ? "none" : fmt::format("{}", fmt::join(info.indexes, ", ")));
  line("note value", fmt::format("{}", info.state.noteValue));
  line("note text", info.state.noteText != nullptr ? PrintableName(info.state.noteText) : "none");
  if (info.tables.missing.empty()) WriteTables(info.tables, paint, out);
}

void WriteTables(const ElfTables& tables, JsonWriter& json) {
  json.Key("segments");
  if (!tables.missing.empty()) {
    json.Null();
    json.Key("sections"), json.Null();
    return;
  }
  json.BeginArray();
  for (const ElfSegment& segment : tables.segments) {
    json.BeginObject();
    json.Key("type"), json.Number(segment.type);
    json.Key("offset"), json.Number(segment.offset);
    json.Key("vaddr"), json.Number(segment.vaddr);
    json.Key("paddr"), json.Number(segment.paddr);
    json.Key("filesz"), json.Number(segment.filesz);
    json.Key("memsz"), json.Number(segment.memsz);
    json.Key("flags"), json.Number(segment.flags);
    json.Key("align"), json.Number(segment.align);
    json.EndObject();
  }
  json.EndArray();
  json.Key("sections"), json.BeginArray();
  for (const ElfSection& section : tables.sections) {
    json.BeginObject();
    json.Key("name"), json.Text(std::string_view(section.name));
    json.Key("type"), json.Number(section.type);
    json.Key("flags"), json.Number(section.flags);
    json.Key("addr"), json.Number(section.addr);
    json.Key("offset"), json.Number(section.offset);
    json.Key("size"), json.Number(section.size);
    json.EndObject();
  }
  json.EndArray();
  if (tables.damage.empty()) return;
  json.Key("damage"), json.BeginArray();
  for (const std::string& what : tables.damage) json.Text(std::string_view(what));
  json.EndArray();
}

void WriteUnits(const FileInfo& info, JsonWriter& json) {
  json.Key("rules"), json.Text(std::string_view(RulesName(info.rules)));
  json.Key("versions"), json.BeginArray();
  for (const auto& [version, counts] : info.units.versions) {
    json.BeginObject();
    json.Key("version"), json.Number(version);
    json.Key("units"), json.Number(counts.units);
    json.Key("partialUnits"), json.Number(counts.partialUnits);
    json.Key("typeUnits"), json.Number(counts.typeUnits);
    json.EndObject();
  }
  json.EndArray();
  json.Key("producers"), json.BeginArray();
  for (const auto& [producer, count] : info.units.producers) {
    json.BeginObject();
    json.Key("producer"), json.Text(std::string_view(producer));
    json.Key("units"), json.Number(count);
    json.EndObject();
  }
  json.EndArray();
  json.Key("indexes"), json.BeginArray();
  for (const std::string_view name : info.indexes) json.Text(name);
  json.EndArray();
}

void WriteJson(const FileInfo& info, JsonWriter& json) {
  json.Key("getInfo"), json.Number(int32_t{info.known});
  json.Key("processor"), json.Text(std::string_view(info.processor));
  json.Key("machine"), json.Number(info.state.machine);
  json.Key("entry"), json.Number(info.entry);
  json.Key("debugFormat"), json.Number(info.state.debugFormat);
  json.Key("littleEndian"), json.Number(uint32_t{info.state.littleEndian});
  json.Key("noteValue"), json.Number(info.state.noteValue);
  json.Key("noteText"), WriteOptional(json, info.state.noteText);
  WriteTables(info.tables, json);
  WriteUnits(info, json);
}

// Versions and producers need the list of units. False when it is not whole.
bool BuildUnits(Session& session, FileInfo& info) {
  constexpr uint32_t dwarf2 = 2;
  if (info.rules != DwarfRules::published || info.state.debugFormat != dwarf2) return true;
  if (session.Build() == 0) return false;
  if (!session.Modules().empty()) info.units = ReadUnits(*session.Loader(), session.Modules()[0]);
  return !session.IsPartial();
}

}  // namespace

ExitStatus RunInfo(Session& session, const Options& options, Output& out) {
  const int opened = session.Open();
  FileInfo info;
  info.rules = *options.rules;
  bool isWhole = opened != 0;
  if (opened != 0) {
    info.known = session.GetInfo(info.processor, info.entry);
    info.state = session.State();
    info.tables = ReadElfTables(FoundPath(options.file));
    if (!info.tables.missing.empty()) {
      Complain("{}: no tables of segments and sections: {}", Printable(options.file), info.tables.missing);
    }
    info.indexes = FindIndexes(info.tables);
    isWhole = BuildUnits(session, info) && info.tables.missing.empty() && info.tables.damage.empty();
  }
  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Key("file"), json.Text(std::string_view(options.file));
    json.Key("open"), json.Number(int32_t{opened});
    if (opened != 0) WriteJson(info, json);
    WriteDocumentFailure(json, session);
    WriteMessages(json, session);
    json.EndObject();
    json.NewLine();
  } else if (opened != 0) {
    WriteText(info, options, out);
  }
  return isWhole ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace elfload
