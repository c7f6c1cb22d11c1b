// elfload dump: the debug records of all units, or of those asked for. They are written as they are filled, so a
// document is never held in memory.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

#include "commands/commands.h"
#include "json/record_json.h"
#include "json/session_json.h"
#include "session/fill_team.h"
#include "terminal/standard_error.h"
#include "terminal/utf8.h"
#include "text/nearest_name.h"
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

void ComplainOfUnit(const Session& session, const std::string& which) {
  NearestName nearest(which);
  size_t number = 0;
  if (!ParseIndex(which, number)) {
    for (const DescModule* module : session.Modules()) {
      nearest.Offer({module->name, strnlen(module->name, which.size() + 4)});
    }
  }
  Complain("no unit {}{}", Printable(which), nearest.Question("; `elfload modules` lists the units"));
}

// Indexes of the units to write, in list order. False, with a line on standard error, when something asked for is not
// there.
bool SelectModules(const Session& session, const Options& options, std::vector<size_t>& indexes) {
  const auto& modules = session.Modules();
  std::vector<bool> selected(modules.size(), options.modules.empty());
  bool allFound = true;
  for (const std::string& which : options.modules) {
    bool found = false;
    for (size_t i = 0; i < modules.size(); i++) {
      if (!IsAsked(modules[i], i, which)) continue;
      selected[i] = true;
      found = true;
    }
    if (!found) ComplainOfUnit(session, which);
    allFound = allFound && found;
  }
  for (size_t i = 0; i < selected.size(); i++) {
    if (selected[i]) indexes.push_back(i);
  }
  return allFound;
}

// Writes units as members of a JSON array.
class JsonUnits {
 public:
  JsonUnits(Output& out, const Palette& /*paint*/, const ExpressionFormat& format)
      : out_(out), json_(out), records_(json_, format) {}

  void Write(const FilledUnit& unit) {
    if (unit.position > 0) out_.Put(',');
    records_.WriteModule(unit.module, unit.extended, unit.failure);
    json_.Restart();
  }
  const RecordJson& Records() const { return records_; }

 private:
  Output& out_;
  JsonWriter json_;
  RecordJson records_;
};

// How units are written.
struct UnitFormat : ExpressionFormat {
  LinkerMarks marks;  // with the loader's rules none
};

class TextUnits {
 public:
  TextUnits(Output& out, const Palette& paint, const UnitFormat& format) : records_(out, paint, format, format.marks) {}

  void Write(const FilledUnit& unit) { records_.WriteModule(unit.index, unit.module, unit.extended); }

 private:
  RecordText records_;
};

// Fills units and writes them in list order, on one thread or on several. A unit's records are released when it is
// written, so that a dump takes no more memory than the largest units.
template <typename Units>
class UnitDump {
 public:
  UnitDump(Session& session, const Options& options, Output& out)
      : session_(session), options_(options), out_(out), paint_(options.color, out) {
    const LoaderState state = session.State();
    format_.dwarf1 = state.debugFormat == 1;
    format_.littleEndian = state.littleEndian;
    format_.published = options.ArePublished();
    if (format_.published && !format_.dwarf1 && !options.json) format_.marks = LinkerMarks(options.file);
  }

  // False when a fill failed.
  bool Run(const std::vector<size_t>& units) {
    const size_t jobs = std::min<size_t>(options_.Jobs(), units.size());
    return jobs > 1 ? RunTeam(units, jobs) : RunAlone(units);
  }

  // Calls `use` with the writer of each thread. Their units are gone, the loaders are not.
  template <typename Use>
  void ForEachWriter(Use use) const {
    for (const auto& writer : writers_) use(*writer);
  }

 private:
  bool RunAlone(const std::vector<size_t>& units) {
    bool allFilled = true;
    writers_.push_back(std::make_unique<Units>(out_, paint_, format_));
    for (size_t position = 0; position < units.size() && !out_.failed(); position++) {
      DescModule* module = session_.Modules()[units[position]];
      const int extended = session_.Extend(module);
      allFilled = allFilled && extended != 0;
      writers_[0]->Write({position, units[position], module, extended, session_.LastFailure()});
      module->heap = HEAP_Release(module->heap);
    }
    return allFilled;
  }

  // Each thread has a buffer of its own, which goes to the order of the units when it is full. What it holds of a unit
  // that failed on the way is dropped.
  struct Buffer {
    UnitOrder* order = nullptr;  // null before a unit and after it
    size_t position = 0;
    Output out{
        [this](const char* text, size_t size) { return order != nullptr && order->Write(position, text, size); }};
  };

  // Connects a buffer with the order while a unit is written.
  struct Turn {
    Turn(Buffer& connected, UnitOrder& order, size_t position) : buffer(connected) {
      buffer.order = &order;
      buffer.position = position;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { buffer.order = nullptr; }
    Buffer& buffer;
  };

  bool RunTeam(const std::vector<size_t>& units, size_t jobs) {
    team_ = std::make_unique<FillTeam>(session_, options_, jobs);
    for (size_t i = 0; i < jobs; i++) {
      buffers_.push_back(std::make_unique<Buffer>());
      writers_.push_back(std::make_unique<Units>(buffers_[i]->out, paint_, format_));
    }
    const bool allFilled = team_->Run(units, &out_, [this](size_t worker, const FilledUnit& unit, UnitOrder& order) {
      Buffer& buffer = *buffers_[worker];
      const Turn turn(buffer, order, unit.position);
      writers_[worker]->Write(unit);
      buffer.out.Flush();
      unit.module->heap = HEAP_Release(unit.module->heap);
    });
    return allFilled;
  }

  Session& session_;
  const Options& options_;
  Output& out_;
  Palette paint_;
  UnitFormat format_;
  std::unique_ptr<FillTeam> team_;
  std::vector<std::unique_ptr<Buffer>> buffers_;
  std::vector<std::unique_ptr<Units>> writers_;
};

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
  WriteFailure(json, session.BuildFailure());

  std::vector<size_t> selected;
  bool isWhole = SelectModules(session, options, selected) && built != 0 && !session.IsPartial();
  UnitDump<JsonUnits> units(session, options, out);
  json.Key("modules"), json.BeginArray();
  isWhole = units.Run(selected) && isWhole;
  json.EndArray();
  std::vector<const DescType*> types;
  units.ForEachWriter([&types](const JsonUnits& writer) {
    types.insert(types.end(), writer.Records().SharedTypes().begin(), writer.Records().SharedTypes().end());
  });
  json.Key("sharedTypes"), WriteSharedTypes(json, std::move(types));
  WriteMessages(json, session);
  json.EndObject();
  json.NewLine();
  return isWhole ? EXIT_DONE : EXIT_REFUSED;
}

ExitStatus DumpText(Session& session, const Options& options, Output& out) {
  if (session.Open() == 0 || session.Build() == 0) return EXIT_REFUSED;
  std::vector<size_t> selected;
  bool isWhole = SelectModules(session, options, selected) && !session.IsPartial();
  isWhole = UnitDump<TextUnits>(session, options, out).Run(selected) && isWhole;
  return isWhole ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace

ExitStatus RunDump(Session& session, const Options& options, Output& out) {
  return options.json ? DumpJson(session, options, out) : DumpText(session, options, out);
}

}  // namespace elfload
