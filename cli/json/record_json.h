// Debug records as JSON, field by field under their own names. docs/dump-format.md describes the result.
//
//   RecordJson records(json, {.littleEndian = true});
//   records.WriteModule(module, extendResult);      // a unit of the module list, with those merged into it
//   WriteSharedTypes(json, records.SharedTypes());  // those that the units written so far refer to
#pragma once

#include <optional>
#include <unordered_set>
#include <vector>

#include "json/json_writer.h"
#include "json/type_index.h"
#include "records/debug_records.h"
#include "session/expression.h"
#include "session/loader_module.h"

namespace elfload {

class RecordJson {
 public:
  // The address size is each unit's own.
  RecordJson(JsonWriter& json, const ExpressionFormat& format) : json_(json), format_(format) {}

  // `failure` says why the fill returned 0.
  void WriteModule(const DescModule* module, int extendResult,
                   const std::optional<FailureReason>& failure = std::nullopt);

  // Those that the units written so far refer to, each once.
  const std::vector<const DescType*>& SharedTypes() const { return sharedTypes_; }

 private:
  void WriteModuleRecord(const DescModule* module, std::optional<int> extendResult,
                         const std::optional<FailureReason>& failure);
  void WriteExt(const DescModuleExt* ext);
  void WriteFrames(const Dwarf2Fde* frames);
  void WriteProcs(const DescProc* procs);
  void WriteProc(const DescProc* proc);
  void WriteVars(const DescVar* vars);
  void WriteVar(const DescVar* var);
  void WriteLocations(const DescLocation* locations);
  void WriteFiles(const DescFile* files);
  void WriteLineBlocks(const DescLineBlock* blocks);
  void WriteWords(const uint32_t* words, int32_t count);
  void WriteInlinedCalls(const DescInlinedCall* calls);
  void WriteTypes(const DescType* types);
  void WriteType(const DescType* type);
  void WriteDerived(const DescType* type);
  void WriteReference(const DescType* type);

  JsonWriter& json_;
  ExpressionFormat format_;
  TypeIndex types_;
  std::vector<const DescType*> sharedTypes_;  // each once, in the order met
  std::unordered_set<const DescType*> isShared_;
};

// Types of the same name, which loaders of the same file each have, are written once.
void WriteSharedTypes(JsonWriter& json, std::vector<const DescType*> types);

}  // namespace elfload
