// elfload find: the unit that holds each name or address, and the units that the look-up filled.
#include <fmt/format.h>

#include "commands/answers.h"
#include "session/fill_reason.h"
#include "session/fill_tracker.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"

namespace elfload {

namespace {

struct Result {
  bool isAddress = false;
  bool found = false;
  size_t module = 0;
  std::vector<size_t> filled;
};

class Finder {
 public:
  Finder(Session& session, FindKind kind) : session_(session), kind_(kind), tracker_(session.Modules()) {}

  Result Find(const std::string& what) {
    Result result;
    if (session_.Modules().empty()) return result;
    uint32_t address = 0;
    DescModule* module = nullptr;
    result.isAddress = IsAddress(what) && ParseAddress(what, AddressBase::decimal, address);
    if (what.find('\0') != std::string::npos) return result;  // no name has one
    result.found =
        result.isAddress ? session_.FindAddress(address, kind_, module) : session_.FindName(what, kind_, module);
    if (result.found) result.module = session_.IndexOf(module);
    result.filled = tracker_.Take(result.found ? result.module : session_.Modules().size());
    return result;
  }

 private:
  Session& session_;
  FindKind kind_;
  FillTracker tracker_;
};

void WriteResult(JsonWriter& json, const std::string& what, const Result& result) {
  json.BeginObject();
  json.Key("what"), json.Text(std::string_view(what));
  json.Key("found"), json.Number(uint32_t{result.found});
  json.Key("module");
  WriteOptional(json, result.found ? std::optional(static_cast<uint32_t>(result.module)) : std::nullopt);
  WriteFilled(json, result.filled);
  json.EndObject();
}

void WriteResult(Output& out, const Session& session, const std::string& what, const Result& result) {
  if (result.found) {
    out.Print("{:<32}  unit {:>4}  {}\n", PrintableName(what), result.module,
              PrintableName(session.Modules()[result.module]->name));
  } else {
    out.Print("{:<32}  not found\n", PrintableName(what));
  }
}

void PrintFilled(const Session& session, FindKind kind, const std::string& what, const Result& result) {
  for (const size_t index : result.filled) {
    const DescModule* module = session.Modules()[index];
    PrintError("{}: filled unit {} {}: {}", Printable(what), index, Printable(module->name),
               result.isAddress ? WhyAddressFills(module, kind) : WhyNameFills(module));
  }
  if (result.filled.empty()) PrintError("{}: filled nothing", Printable(what));
}

}  // namespace

ExitStatus RunFind(Session& session, const Options& options, Output& out) {
  const int built = session.Open() != 0 ? session.Build() : 0;
  Finder finder(session, options.kind);
  return AnswerAll(InputWords::lines, session, options, out, built, [&](const std::string& what, JsonWriter* json) {
    const Result result = finder.Find(what);
    if (options.verbose) PrintFilled(session, options.kind, what, result);
    if (json != nullptr) {
      WriteResult(*json, what, result);
    } else {
      WriteResult(out, session, what, result);
    }
    return result.found;
  });
}

}  // namespace elfload
