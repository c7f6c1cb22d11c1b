// elfload info: what the file is for and what it holds.
#include <fmt/format.h>

#include "commands/commands.h"
#include "json/session_json.h"
#include "session/elf_tables.h"
#include "session/open_failure.h"
#include "terminal/palette.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

struct FileInfo {
  int known = 0;  // result of GetInfo
  std::string processor;
  uint32_t entry = 0;
  LoaderState state;
  ElfTables tables;
};

const char* FormatName(uint32_t debugFormat) {
  constexpr const char* names[] = {"none", "DWARF 1", "DWARF 2"};
  return debugFormat < std::size(names) ? names[debugFormat] : "?";
}

std::string FlagLetters(uint32_t flags, const char* letters) {
  std::string text;
  for (uint32_t bit = 0; letters[bit] != '\0'; bit++) text += (flags & (1u << bit)) != 0 ? letters[bit] : '-';
  return text;
}

void WriteText(const FileInfo& info, const Options& options, Output& out) {
  const Palette paint(options.color, out);
  const auto line = [&out, &paint](const char* what, const std::string& value) {
    out.Print("{}  {}\n", paint(Paint::faint, fmt::format("{:<12}", what)), value);
  };
  const bool isKnown = info.known != 0;
  line("file", Printable(options.file));
  line("processor",
       isKnown ? info.processor : fmt::format("not known to the loader (e_machine {})", info.state.machine));
  line("entry", fmt::format("0x{:08X}", info.entry));
  line("byte order", info.state.littleEndian ? "little-endian" : "big-endian");
  line("debug format", FormatName(info.state.debugFormat));
  line("note value", fmt::format("{}", info.state.noteValue));
  line("note text", info.state.noteText != nullptr ? Printable(info.state.noteText) : "none");
  if (!info.tables.missing.empty()) {
    out.Print("No tables of segments and sections: {}.\n", info.tables.missing);
    return;
  }
  out.Print("\n{}\n", paint(Paint::heading, "segments  type      virtual     physical    in file   in memory  flags"));
  size_t number = 0;
  for (const ElfSegment& segment : info.tables.segments) {
    out.Print("{:>8}  {:<8}  0x{:08X}  0x{:08X}  {:>8}  {:>9}  {}{}{}\n", number++, SegmentTypeName(segment.type),
              segment.vaddr, segment.paddr, segment.filesz, segment.memsz, (segment.flags & 4) != 0 ? 'r' : '-',
              (segment.flags & 2) != 0 ? 'w' : '-', (segment.flags & 1) != 0 ? 'x' : '-');
  }
  out.Print("\n{}\n", paint(Paint::heading, "sections  type        address     offset        size  flags  name"));
  number = 1;
  for (const ElfSection& section : info.tables.sections) {
    out.Print("{:>8}  {:<10}  0x{:08X}  {:>8}  {:>8}  {:<5}  {}\n", number++, SectionTypeName(section.type),
              section.addr, section.offset, section.size, FlagLetters(section.flags, "wax"), Printable(section.name));
  }
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
}

void WriteJson(const FileInfo& info, JsonWriter& json) {
  json.Key("getInfo"), json.Number(int32_t{info.known});
  json.Key("processor"), json.Text(std::string_view(info.processor));
  json.Key("machine"), json.Number(info.state.machine);
  json.Key("entry"), json.Number(info.entry);
  json.Key("debugFormat"), json.Number(info.state.debugFormat);
  json.Key("littleEndian"), json.Number(uint32_t{info.state.littleEndian});
  json.Key("noteValue"), json.Number(info.state.noteValue);
  json.Key("noteText");
  if (info.state.noteText != nullptr) {
    json.Text(info.state.noteText);
  } else {
    json.Null();
  }
  WriteTables(info.tables, json);
}

}  // namespace

ExitStatus RunInfo(Session& session, const Options& options, Output& out) {
  const int opened = session.Open();
  FileInfo info;
  if (opened != 0) {
    info.known = session.GetInfo(info.processor, info.entry);
    info.state = session.State();
    info.tables = ReadElfTables(FoundPath(options.file));
  }
  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Key("file"), json.Text(std::string_view(options.file));
    json.Key("open"), json.Number(int32_t{opened});
    if (opened != 0) WriteJson(info, json);
    WriteMessages(json, session);
    json.EndObject();
    json.NewLine();
  } else if (opened != 0) {
    WriteText(info, options, out);
  }
  return opened != 0 ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace elfload
