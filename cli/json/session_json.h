// Members that several documents have.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "json/json_writer.h"
#include "session/session.h"

namespace elfload {

inline void WriteOptional(JsonWriter& json, const std::optional<uint32_t>& value) {
  value.has_value() ? json.Number(*value) : json.Null();
}
inline void WriteOptional(JsonWriter& json, const char* text) {
  text != nullptr ? json.Text(text) : json.Null();
}

// `failure`, where there is one: why Open, Build or the fill of a unit returned 0, or what Build left out.
inline void WriteFailure(JsonWriter& json, const std::optional<FailureReason>& failure) {
  if (!failure.has_value()) return;
  const auto textOrNull = [&json](const std::string& text) {
    text.empty() ? json.Null() : json.Text(std::string_view(text));
  };
  json.Key("failure"), json.BeginObject();
  json.Key("text"), json.Text(std::string_view(failure->text));
  json.Key("unit"), textOrNull(failure->unit);
  json.Key("section"), textOrNull(failure->section);
  json.Key("offset"), WriteOptional(json, failure->offset);
  json.EndObject();
}

// The same of the whole document.
inline void WriteDocumentFailure(JsonWriter& json, const Session& session) {
  WriteFailure(json, session.DocumentFailure());
}

inline void WriteMessages(JsonWriter& json, const Session& session) {
  json.Key("messages"), json.BeginArray();
  for (const std::string& text : session.Messages()) json.Text(std::string_view(text));
  json.EndArray();
}

}  // namespace elfload
