// elfload modules: a line a unit, from the scan alone; no unit is filled.
#include <fmt/format.h>

#include <algorithm>

#include "commands/commands.h"
#include "json/session_json.h"
#include "terminal/palette.h"
#include "terminal/utf8.h"
#include "text/record_text.h"

namespace elfload {

namespace {

constexpr size_t widestName = 1024;  // characters that every line is padded to; a name may be longer

void WriteText(const Session& session, const Options& options, Output& out) {
  const Palette paint(options.color, out);
  size_t nameWidth = 4;
  for (const DescModule* module : session.Modules()) {
    nameWidth = std::max(nameWidth, PrintableName(module->name).size());
  }
  nameWidth = std::min(nameWidth, widestName);
  out.Write(paint(Paint::heading, fmt::format("{:>5}  {:<{}}  {:<22}  {:<8}  {:>6}  {:>6}  {}", "unit", "name",
                                              nameWidth, "range", "language", "names", "ranges", "directory")));
  out.Put('\n');
  size_t index = 0;
  for (const DescModule* module : session.Modules()) {
    const std::string range = module->hasRange != 0 ? RangeText(module->lowPc, module->highPc) : "-";
    out.Print("{:>5}  {}  {}  {:<8}  {:>6}  {:>6}  {}\n", index++,
              paint(Paint::name, fmt::format("{:<{}}", PrintableName(module->name), nameWidth)),
              paint(Paint::address, fmt::format("{:<22}", range)), LanguageName(module->language),
              CountRecords(module->ext->globalNames), CountRecords(module->ext->addrRanges),
              PrintableName(module->directory));
  }
}

void WriteModule(const DescModule* module, JsonWriter& json) {
  json.BeginObject();
  json.Key("name"), json.Text(module->name);
  json.Key("directory"), json.Text(module->directory);
  json.Key("lowPc"), json.Number(module->lowPc);
  json.Key("highPc"), json.Number(module->highPc);
  json.Key("hasRange"), json.Number(module->hasRange);
  json.Key("language"), json.Number(module->language);
  json.Key("globalNames"), json.Number(static_cast<uint32_t>(CountRecords(module->ext->globalNames)));
  json.Key("addrRanges"), json.BeginArray();
  for (const DescAddrRange* range = module->ext->addrRanges; range != nullptr; range = range->next) {
    json.BeginArray();
    json.Number(range->low);
    json.Number(range->high);
    json.EndArray();
  }
  json.EndArray();
  json.Key("mergedModules"), json.BeginArray();
  for (const DescModule* merged = module->ext->mergedModules; merged != nullptr; merged = merged->next) {
    json.Text(merged->name);
  }
  json.EndArray();
  json.EndObject();
  json.NewLine();
}

}  // namespace

ExitStatus RunModules(Session& session, const Options& options, Output& out) {
  const int opened = session.Open();
  const int built = opened != 0 ? session.Build() : 0;
  if (options.json) {
    JsonWriter json(out);
    json.BeginObject();
    json.Key("file"), json.Text(std::string_view(options.file));
    json.Key("open"), json.Number(int32_t{opened});
    json.Key("build"), json.Number(int32_t{built});
    WriteDocumentFailure(json, session);
    json.Key("modules"), json.BeginArray();
    for (const DescModule* module : session.Modules()) WriteModule(module, json);
    json.EndArray();
    WriteMessages(json, session);
    json.EndObject();
    json.NewLine();
  } else if (built != 0) {
    WriteText(session, options, out);
  }
  return built != 0 && !session.IsPartial() ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace elfload
