// The answers to a list of questions, one after the other: lines of text, or a document of `results`.
#pragma once

#include <algorithm>
#include <iostream>
#include <string>
#include <string_view>

#include "commands/commands.h"
#include "json/session_json.h"

namespace elfload {

// Words that follow each other in standard input: parted by blanks, or one a line, where a name may have blanks.
enum class InputWords : uint8_t { blanks, lines };

// Calls `use` with each word of a line, without the blanks around it.
template <typename Use>
void ForEachWord(std::string_view line, InputWords kind, Use use) {
  constexpr std::string_view blanks = " \t\r\n\f\v";
  for (size_t at = 0; (at = line.find_first_not_of(blanks, at)) != std::string_view::npos;) {
    const size_t end = kind == InputWords::blanks ? std::min(line.find_first_of(blanks, at), line.size())
                                                  : line.find_last_not_of(blanks) + 1;
    use(std::string(line.substr(at, end - at)));
    at = end;
  }
}

// Answers the words of the command line, and those of standard input where one of them is "-": there the answers of a
// line are written before the next line is read. `answer(word, json)` writes an answer, as text where `json` is null,
// and returns whether there is one. `built` is the result of Build.
template <typename Answer>
ExitStatus AnswerAll(InputWords kind, Session& session, const Options& options, Output& out, int built, Answer answer) {
  JsonWriter json(out);
  if (options.json) {
    json.BeginObject();
    json.Key("file"), json.Text(std::string_view(options.file));
    json.Key("build"), json.Number(int32_t{built});
    WriteDocumentFailure(json, session);
    json.Key("results"), json.BeginArray();
  }
  bool allFound = true;
  const auto answerWord = [&](const std::string& word) {
    if (!answer(word, options.json ? &json : nullptr)) allFound = false;
    if (options.json) json.NewLine();
  };
  for (const std::string& what : options.what) {
    if (what != standardInput) {
      answerWord(what);
      continue;
    }
    for (std::string line; !out.failed() && std::getline(std::cin, line);) {
      ForEachWord(line, kind, answerWord);
      out.Flush();
    }
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
