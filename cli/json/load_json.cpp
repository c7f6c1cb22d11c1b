#include "json/load_json.h"

#include "json/json_writer.h"
#include "json/session_json.h"

namespace elfload {

namespace {

void WriteSegments(JsonWriter& json, const LoadReport& report) {
  json.Key("segments"), json.BeginArray();
  for (const SegmentToLoad& segment : report.segments) {
    json.BeginObject();
    json.Key("index"), json.Number(segment.index);
    json.Key("address"), json.Number(segment.address);
    json.Key("placed"), json.Number(segment.placed);
    json.Key("filesz"), json.Number(segment.fileSize);
    json.Key("memsz"), json.Number(segment.memorySize);
    json.Key("writable"), json.Number(uint32_t{segment.writable});
    json.EndObject();
  }
  json.EndArray();
}

void WriteFailure(JsonWriter& json, const LoadReport& report) {
  json.Key("failure");
  if (report.outcome == LoadOutcome::done) {
    json.Null();
    return;
  }
  json.BeginObject();
  json.Key("message"), json.Text(std::string_view(report.message));
  json.Key("segment"), WriteOptional(json, report.segment);
  json.Key("first"), WriteOptional(json, report.range ? std::optional(report.range->first) : std::nullopt);
  json.Key("last"), WriteOptional(json, report.range ? std::optional(report.range->last) : std::nullopt);
  json.Key("address"), WriteOptional(json, report.address);
  json.EndObject();
}

}  // namespace

void WriteLoadJson(const LoadReport& report, const Options& options, const Session& session, Output& out) {
  JsonWriter json(out);
  json.BeginObject();
  json.Key("file"), json.Text(std::string_view(options.file));
  json.Key("open"), json.Number(uint32_t{report.opened});
  json.Key("target"), json.Text(std::string_view(options.load.target));
  json.Key("processor"), json.Text(std::string_view(report.processor));
  json.Key("dryRun"), json.Number(uint32_t{options.load.dryRun});
  json.Key("outcome"), json.Text(LoadOutcomeName(report.outcome));
  WriteSegments(json, report);
  json.Key("blocks"), json.Number(report.blocks);
  json.Key("bytes"), json.Number(report.bytes);
  json.Key("totalBytes"), json.Number(report.totalBytes);
  json.Key("verifiedBytes"), json.Number(report.verifiedBytes);
  json.Key("startAddress"), WriteOptional(json, report.startAddress);
  json.Key("seconds"), json.Number(report.seconds);
  WriteFailure(json, report);
  WriteMessages(json, session);
  json.EndObject();
  json.NewLine();
}

}  // namespace elfload
