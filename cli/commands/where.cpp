// elfload where: procedure and source line of addresses.
//
// The finder is asked first. A unit's low and high address often leave out some of its code, such as a function in a
// section of its own, and the finder trusts them; so where it finds nothing, or a unit that has nothing at the address,
// the units' addrRanges decide, then the procedures of the units without addrRanges, filled ones first.
#include <fmt/format.h>

#include <map>

#include "commands/commands.h"
#include "json/session_json.h"
#include "session/fill_reason.h"
#include "session/fill_tracker.h"
#include "session/line_lookup.h"
#include "terminal/palette.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

struct Answer {
  const char* decidedBy = nullptr;  // "finder", "addrRanges", "procedures"; null: nothing holds the address
  DescModule* module = nullptr;
  const DescProc* proc = nullptr;
  const LineRow* row = nullptr;
  std::vector<size_t> filled;
  std::vector<const char*> reasons;  // why each of them was filled
};

class Locator {
 public:
  explicit Locator(Session& session) : session_(session), tracker_(session.Modules()) {}

  Answer Locate(uint32_t address) {
    Answer answer;
    reasons_.clear();
    Decide(address, answer);
    answer.filled = tracker_.Take(session_.Modules().size());
    for (const size_t index : answer.filled) {
      const DescModule* module = session_.Modules()[index];
      const auto reason = reasons_.find(module);
      answer.reasons.push_back(reason != reasons_.end() ? reason->second : WhyAddressFills(module, FIND_CODE));
    }
    return answer;
  }

 private:
  void Decide(uint32_t address, Answer& answer) {
    DescModule* found = nullptr;
    if (session_.Modules().empty()) return;
    const bool isNamed = session_.FindAddress(address, FIND_CODE, found);
    if (isNamed && Settle("finder", found, address, answer)) return;
    for (DescModule* module : session_.Modules()) {
      if (module == found || FindRangeAt(module, address) == nullptr) continue;
      if (Settle("addrRanges", module, address, answer)) return;
    }
    if (DecideByProcedures(found, address, answer, true)) return;
    if (!isNamed) DecideByProcedures(found, address, answer, false);
  }

  bool DecideByProcedures(const DescModule* tried, uint32_t address, Answer& answer, bool areFilled) {
    for (DescModule* module : session_.Modules()) {
      const bool hasRanges = module->ext != nullptr && module->ext->addrRanges != nullptr;
      if (module == tried || hasRanges || (module->loadedKinds != 0) != areFilled) continue;
      Fill(module, "it has no address ranges, so its procedures were searched");
      if (FindProcAt(module, address) == nullptr) continue;
      if (Settle("procedures", module, address, answer)) return true;
    }
    return false;
  }

  // Takes `module` as the answer. False when it has neither procedure nor line at the address: then it stands only
  // until something better is found.
  bool Settle(const char* decidedBy, DescModule* module, uint32_t address, Answer& answer) {
    Fill(module, "one of its address ranges holds the address");
    const DescProc* proc = FindProcAt(module, address);
    const LineRow* row = FindRow(module, proc, address);
    const bool isGood = proc != nullptr || row != nullptr;
    if (!isGood && answer.module != nullptr) return false;
    answer.decidedBy = decidedBy;
    answer.module = module;
    answer.proc = proc;
    answer.row = row;
    return isGood;
  }

  const LineRow* FindRow(const DescModule* module, const DescProc* proc, uint32_t address) {
    const LineLookup& lines = lines_.try_emplace(module, module).first->second;
    if (proc != nullptr) return lines.Find(proc->lowPc, address);
    if (const DescAddrRange* range = FindRangeAt(module, address)) return lines.Find(range->low, address);
    const bool isInside = module->hasRange != 0 && address >= module->lowPc && address < module->highPc;
    return lines.Find(isInside ? module->lowPc : address, address);
  }

  void Fill(DescModule* module, const char* reason) {
    if (module->loadedKinds != 0) return;
    reasons_.emplace(module, reason);
    session_.Extend(module);
  }

  Session& session_;
  FillTracker tracker_;
  std::map<const DescModule*, const char*> reasons_;  // of the units that the finder did not fill itself
  std::map<const DescModule*, LineLookup> lines_;     // of the units that answered so far
};

void WriteAnswer(JsonWriter& json, const Session& session, uint32_t address, const Answer& answer) {
  json.BeginObject();
  json.Key("address"), json.Number(address);
  json.Key("found"), json.Number(uint32_t{answer.module != nullptr});
  json.Key("module");
  if (answer.module != nullptr) {
    json.Number(static_cast<uint32_t>(session.IndexOf(answer.module)));
  } else {
    json.Null();
  }
  json.Key("decidedBy");
  if (answer.decidedBy != nullptr) {
    json.Text(answer.decidedBy);
  } else {
    json.Null();
  }
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
  if (answer.row != nullptr) {
    json.BeginObject();
    json.Key("fileName"), json.Text(answer.row->fileName);
    json.Key("address"), json.Number(answer.row->address);
    json.Key("line"), json.Number(answer.row->line);
    json.Key("column"), json.Number(answer.row->column);
    json.EndObject();
  } else {
    json.Null();
  }
  json.Key("filled"), json.BeginArray();
  for (const size_t index : answer.filled) json.Number(static_cast<uint32_t>(index));
  json.EndArray();
  json.EndObject();
  json.NewLine();
}

void WriteAnswer(Output& out, const Palette& paint, uint32_t address, const Answer& answer) {
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
      answer.row != nullptr ? fmt::format("{}:{}", Printable(answer.row->fileName), answer.row->line) : unit + ":?";
  out.Print("{}  {}\n", paint(Paint::name, fmt::format("{:<32}", procedure)), line);
}

void TellDecision(const Session& session, uint32_t address, const Answer& answer) {
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
  JsonWriter json(out);
  if (options.json) {
    json.BeginObject();
    json.Key("file"), json.Text(std::string_view(options.file));
    json.Key("build"), json.Number(int32_t{built});
    json.Key("results"), json.BeginArray();
  }
  bool allFound = true;
  Locator locator(session);
  for (const uint32_t address : options.addresses) {
    const Answer answer = locator.Locate(address);
    allFound = allFound && answer.module != nullptr;
    if (options.verbose) TellDecision(session, address, answer);
    if (options.json) {
      WriteAnswer(json, session, address, answer);
    } else {
      WriteAnswer(out, paint, address, answer);
    }
  }
  if (options.json) {
    json.EndArray();
    WriteMessages(json, session);
    json.EndObject();
    json.NewLine();
  }
  return allFound && built != 0 && !session.State().errorReported ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace elfload
