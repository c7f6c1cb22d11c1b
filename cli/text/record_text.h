// Debug records as text for people: one unit after another, each with its procedures, variables, types, files and
// lines.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "records/debug_records.h"
#include "session/expression.h"
#include "session/linker_marks.h"
#include "terminal/output.h"
#include "terminal/palette.h"
#include "text/call_frames.h"

namespace elfload {

class RecordText {
 public:
  // The address size is each unit's own.
  RecordText(Output& out, Palette paint, const ExpressionFormat& format, const LinkerMarks& marks)
      : out_(out), paint_(paint), format_(format), marks_(marks) {}

  void WriteModule(size_t index, const DescModule* module, int extendResult);

 private:
  void WriteHead(const std::string& title, const DescModule* module);
  void WriteContents(const DescModule* module);
  void WriteExt(const DescModuleExt* ext);
  void WriteFrames(const Dwarf2Fde* frames);
  void WriteCallFrames(const CallFrames& frames, uint32_t start);
  void WriteProcs(const DescProc* procs);
  void WriteProc(const DescProc* proc);
  void WriteProcVars(const char* what, const DescVar* vars);
  void WriteVars(const DescVar* vars, uint8_t addressSize);
  bool HasAddress(const DescVar* var, uint32_t& address) const;
  void WriteFiles(const DescFile* files);
  void WriteLines(const DescLineBlock* blocks);
  void WriteInlinedCalls(const DescInlinedCall* calls);
  void WriteTypes(const DescType* types);
  void WriteMembers(const DescType* type);
  void WriteEnumerators(const DescEnumerator* enumerators);
  std::string LocationsText(const DescLocation* locations) const;
  std::string MemberOffset(const DescVar* member) const;
  void WriteTitle(const char* title, size_t count);

  Output& out_;
  Palette paint_;
  ExpressionFormat format_;
  LinkerMarks marks_;
  std::unordered_map<const Dwarf2Cie*, CallFrames> cieFrames_;  // decoded once, written for each frame that shares it
};

// "0x00002000..0x00002044"
std::string RangeText(uint32_t low, uint32_t high);

// The length of a list of records.
template <typename Record>
size_t CountRecords(const Record* list) {
  size_t count = 0;
  for (; list != nullptr; list = list->next) count++;
  return count;
}

// The name of a DescLanguage; "" for an unknown one.
const char* LanguageName(uint32_t language);

}  // namespace elfload
