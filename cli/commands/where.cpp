// elfload where: procedure and source line of addresses.
#include <fmt/format.h>

#include "commands/answers.h"
#include "session/elf_tables.h"
#include "session/locator.h"
#include "session/open_failure.h"
#include "terminal/palette.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

constexpr uint32_t armMachine = 40;  // EM_ARM

// Says where an address is that no unit has: in which section, if any.
class Surroundings {
 public:
  // Reads the tables of the file when they are first needed.
  explicit Surroundings(const std::string& file) : file_(file) {}

  std::string Describe(uint32_t address) {
    if (!tables_) tables_ = ReadElfTables(FoundPath(file_));
    if (!tables_->missing.empty()) return "not found";
    for (const ElfSection& section : tables_->sections) {
      if ((section.flags & allocated) == 0 || address - section.addr >= section.size) continue;
      const std::string name = PrintableName(section.name);
      return fmt::format("{}+0x{:X}, in no unit", name, address - section.addr);
    }
    return tables_->sections.empty() ? "not found" : "not in any section";
  }

 private:
  static constexpr uint32_t allocated = 2;  // SHF_ALLOC

  const std::string& file_;
  std::optional<ElfTables> tables_;
};

// A word of standard input that is no address.
void WriteNoAddress(JsonWriter& json, const std::string& what) {
  json.BeginObject();
  json.Key("address"), json.Null();
  json.Key("what"), json.Text(std::string_view(what));
  json.Key("found"), json.Number(uint32_t{0});
  json.EndObject();
}

// `code` is the address without marks of the processor.
void WriteAnswer(JsonWriter& json, const Session& session, uint32_t address, uint32_t code, const Place& answer) {
  json.BeginObject();
  json.Key("address"), json.Number(address);
  json.Key("found"), json.Number(uint32_t{answer.module != nullptr});
  json.Key("module");
  const auto index = [&] { return static_cast<uint32_t>(session.IndexOf(answer.module)); };
  WriteOptional(json, answer.module != nullptr ? std::optional(index()) : std::nullopt);
  json.Key("decidedBy"), WriteOptional(json, answer.decidedBy);
  json.Key("procedure");
  if (answer.proc != nullptr) {
    json.BeginObject();
    json.Key("name"), json.Text(answer.proc->name);
    json.Key("lowPc"), json.Number(answer.proc->lowPc);
    json.Key("highPc"), json.Number(answer.proc->highPc);
    json.Key("offset"), json.Number(code - answer.proc->lowPc);
    json.EndObject();
  } else {
    json.Null();
  }
  json.Key("row");
  if (answer.row) {
    json.BeginObject();
    json.Key("fileName"), json.Text(answer.row->fileName);
    json.Key("address"), json.Number(answer.row->address);
    json.Key("line"), json.Number(answer.row->line);
    json.Key("column"), json.Number(answer.row->column);
    json.EndObject();
  } else {
    json.Null();
  }
  WriteFilled(json, answer.filled);
  json.EndObject();
}

void WriteAnswer(Output& out, const Palette& paint, uint32_t address, uint32_t code, const Place& answer) {
  out.Print("{}  ", paint(Paint::address, fmt::format("0x{:08X}", address)));
  std::string procedure = "?";
  if (answer.proc != nullptr) {
    const std::string name = PrintableName(answer.proc->name);
    procedure = fmt::format("{}+0x{:X}", name.empty() ? "?" : name, code - answer.proc->lowPc);
  }
  const std::string unit = PrintableName(answer.module->name);
  const std::string line =
      answer.row ? fmt::format("{}:{}", PrintableName(answer.row->fileName), answer.row->line) : unit + ":?";
  out.Print("{}  {}\n", paint(Paint::name, fmt::format("{:<32}", procedure)), line);
}

void PrintDecision(const Session& session, uint32_t address, const Place& answer) {
  for (size_t i = 0; i < answer.filled.size(); i++) {
    PrintError("0x{:08X}: filled unit {} {}: {}", address, answer.filled[i],
               Printable(session.Modules()[answer.filled[i]]->name), answer.reasons[i]);
  }
  if (answer.module == nullptr) {
    PrintError("0x{:08X}: neither the finder nor addrRanges nor procedures know it", address);
  } else {
    PrintError("0x{:08X}: unit {} {}, decided by the {}", address, session.IndexOf(answer.module),
               Printable(answer.module->name), answer.decidedBy);
  }
}

}  // namespace

ExitStatus RunWhere(Session& session, const Options& options, Output& out) {
  const int opened = session.Open();
  const int built = opened != 0 ? session.Build() : 0;
  const Palette paint(options.color, out);
  Locator locator(session);
  Surroundings surroundings(options.file);
  // Bit 0 of an ARM address chooses the instruction set. The loader's own rules take it for a part of the address.
  const bool hasMark = options.ArePublished() && session.State().machine == armMachine;
  return AnswerAll(InputWords::blanks, session, options, out, built, [&](const std::string& what, JsonWriter* json) {
    uint32_t address = 0;
    if (!ParseAddress(what, AddressBase::hexadecimal, address)) {  // of standard input
      if (json == nullptr) out.Print("{:<10}  not a 32-bit address\n", PrintableName(what));
      if (json != nullptr) WriteNoAddress(*json, what);
      return false;
    }
    const uint32_t code = hasMark ? address & ~1u : address;
    const Place answer = locator.Locate(code);
    if (options.verbose) PrintDecision(session, address, answer);
    if (json != nullptr) {
      WriteAnswer(*json, session, address, code, answer);
    } else if (answer.module != nullptr) {
      WriteAnswer(out, paint, address, code, answer);
    } else {
      out.Print("{}  {}\n", paint(Paint::address, fmt::format("0x{:08X}", address)),
                built != 0 ? surroundings.Describe(address) : "not found");
    }
    return answer.module != nullptr;
  });
}

}  // namespace elfload
