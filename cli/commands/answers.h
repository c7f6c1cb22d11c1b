// The answers to a list of questions, one after the other: lines of text, or a document of `results`.
#pragma once

#include "commands/commands.h"
#include "json/session_json.h"

namespace elfload {

// `answer(question, json)` writes an answer, as text where `json` is null, and returns whether there is one. `built` is
// the result of Build.
template <typename Questions, typename Answer>
ExitStatus AnswerAll(const Questions& questions, Session& session, const Options& options, Output& out, int built,
                     Answer answer) {
  JsonWriter json(out);
  if (options.json) {
    json.BeginObject();
    json.Key("file"), json.Text(std::string_view(options.file));
    json.Key("build"), json.Number(int32_t{built});
    WriteDocumentFailure(json, session);
    json.Key("results"), json.BeginArray();
  }
  bool allFound = true;
  for (const auto& question : questions) {
    if (!answer(question, options.json ? &json : nullptr)) allFound = false;
    if (options.json) json.NewLine();
  }
  if (options.json) {
    json.EndArray();
    WriteMessages(json, session);
    json.EndObject();
    json.NewLine();
  }
  return allFound && built != 0 && !session.IsPartial() && !session.State().errorReported ? EXIT_DONE : EXIT_REFUSED;
}

// `filled`: the units that a look-up filled.
inline void WriteFilled(JsonWriter& json, const std::vector<size_t>& filled) {
  json.Key("filled"), json.BeginArray();
  for (const size_t index : filled) json.Number(static_cast<uint32_t>(index));
  json.EndArray();
}

}  // namespace elfload
