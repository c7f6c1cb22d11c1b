// Members that several documents have.
#pragma once

#include <string>
#include <vector>

#include "json/json_writer.h"
#include "session/session.h"

namespace elfload {

inline void WriteMessages(JsonWriter& json, const Session& session) {
  json.Key("messages"), json.BeginArray();
  for (const std::string& text : session.Messages()) json.Text(std::string_view(text));
  json.EndArray();
}

}  // namespace elfload
