// elfload where: procedure and source line of addresses.
#include <fmt/format.h>

#include "commands/answers.h"
#include "session/locator.h"
#include "terminal/palette.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

void WriteAnswer(JsonWriter& json, const Session& session, uint32_t address, const Place& answer) {
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
    json.Key("offset"), json.Number(address - answer.proc->lowPc);
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

void WriteAnswer(Output& out, const Palette& paint, uint32_t address, const Place& answer) {
  out.Print("{}  ", paint(Paint::address, fmt::format("0x{:08X}", address)));
  if (answer.module == nullptr) {
    out.Write("not found\n");
    return;
  }
  std::string procedure = "?";
  if (answer.proc != nullptr) {
    const std::string name = Printable(answer.proc->name);
    procedure = fmt::format("{}+0x{:X}", name.empty() ? "?" : name, address - answer.proc->lowPc);
  }
  const std::string unit = Printable(answer.module->name);
  const std::string line =
      answer.row ? fmt::format("{}:{}", Printable(answer.row->fileName), answer.row->line) : unit + ":?";
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
  const int built = session.Open() != 0 ? session.Build() : 0;
  const Palette paint(options.color, out);
  Locator locator(session);
  return AnswerAll(options.addresses, session, options, out, built, [&](uint32_t address, JsonWriter* json) {
    const Place answer = locator.Locate(address);
    if (options.verbose) PrintDecision(session, address, answer);
    if (json != nullptr) {
      WriteAnswer(*json, session, address, answer);
    } else {
      WriteAnswer(out, paint, address, answer);
    }
    return answer.module != nullptr;
  });
}

}  // namespace elfload
