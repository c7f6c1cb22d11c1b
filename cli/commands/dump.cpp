// elfload dump: the debug records of all units, or of those asked for. Each unit is filled and written before the next,
// so a document is never held in memory.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "commands/commands.h"
#include "json/record_json.h"
#include "json/session_json.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"
#include "text/record_text.h"

namespace elfload {

namespace {

bool ParseIndex(const std::string& text, size_t& index) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, index);
  return error == std::errc() && stop == end;
}

bool IsAsked(const DescModule* module, size_t index, const std::string& which) {
  size_t number = 0;
  if (ParseIndex(which, number)) return number == index;
  return std::strcmp(which.c_str(), module->name) == 0;  // reads no more of a long name than it must
}

// Marks the units to write. False, with a line on standard error, when something asked for is not there.
bool SelectModules(const Session& session, const Options& options, std::vector<bool>& selected) {
  const auto& modules = session.Modules();
  selected.assign(modules.size(), options.modules.empty());
  bool allFound = true;
  for (const std::string& which : options.modules) {
    bool found = false;
    for (size_t i = 0; i < modules.size(); i++) {
      if (!IsAsked(modules[i], i, which)) continue;
      selected[i] = true;
      found = true;
    }
    if (!found) Complain("no unit {}; `elfload modules` lists the units", Printable(which));
    allFound = allFound && found;
  }
  return allFound;
}

// Fills the selected units in list order and hands each to `write` with the result; its records are released then, so
// that a dump takes no more memory than its largest unit. False when a fill failed.
template <typename Write>
bool ExtendSelected(Session& session, const std::vector<bool>& selected, const Output& out, Write write) {
  bool allFilled = true;
  for (size_t i = 0; i < selected.size() && !out.failed(); i++) {
    if (!selected[i]) continue;
    DescModule* module = session.Modules()[i];
    const int extended = session.Extend(module);
    allFilled = allFilled && extended != 0;
    write(i, module, extended);
    module->heap = HEAP_Release(module->heap);
  }
  return allFilled;
}

ExitStatus DumpJson(Session& session, const Options& options, Output& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Key("file"), json.Text(std::string_view(options.file));
  const int opened = session.Open();
  json.Key("open"), json.Number(int32_t{opened});
  if (opened == 0) {
    WriteFailure(json, session.LastFailure());
    json.EndObject();
    json.NewLine();
    return EXIT_REFUSED;
  }
  std::string processor;
  uint32_t entry = 0;
  const int known = session.GetInfo(processor, entry);
  const LoaderState state = session.State();
  json.Key("getInfo"), json.Number(int32_t{known});
  json.Key("processor"), json.Text(std::string_view(processor));
  json.Key("entry"), json.Number(entry);
  json.Key("debugFormat"), json.Number(state.debugFormat);
  json.Key("littleEndian"), json.Number(uint32_t{state.littleEndian});
  const int built = session.Build();
  json.Key("build"), json.Number(int32_t{built});
  WriteFailure(json, session.LastFailure());

  std::vector<bool> selected;
  bool isWhole = SelectModules(session, options, selected) && built != 0;
  RecordJson records(json, state.debugFormat == 1, state.littleEndian);
  json.Key("modules"), json.BeginArray();
  isWhole = ExtendSelected(session, selected, out,
                           [&](size_t, const DescModule* module, int extended) {
                             records.WriteModule(module, extended, session.LastFailure());
                           }) &&
            isWhole;
  json.EndArray();
  json.Key("sharedTypes"), records.WriteSharedTypes();
  WriteMessages(json, session);
  json.EndObject();
  json.NewLine();
  return isWhole ? EXIT_DONE : EXIT_REFUSED;
}

ExitStatus DumpText(Session& session, const Options& options, Output& out) {
  if (session.Open() == 0 || session.Build() == 0) return EXIT_REFUSED;
  std::vector<bool> selected;
  bool isWhole = SelectModules(session, options, selected);
  const LoaderState state = session.State();
  RecordText records(out, Palette(options.color, out), state.debugFormat == 1, state.littleEndian);
  isWhole = ExtendSelected(session, selected, out,
                           [&records](size_t index, const DescModule* module, int extended) {
                             records.WriteModule(index, module, extended);
                           }) &&
            isWhole;
  return isWhole ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace

ExitStatus RunDump(Session& session, const Options& options, Output& out) {
  return options.json ? DumpJson(session, options, out) : DumpText(session, options, out);
}

}  // namespace elfload
