#include "text/record_text.h"

#include <algorithm>
#include <vector>

#include "terminal/utf8.h"
#include "text/type_text.h"

namespace elfload {

namespace {

// Bytes of instructions of a common entry that are written again for each frame. Compilers write a few; a file could
// have thousands of frames share many.
constexpr uint32_t mostRepeated = 256;

constexpr uint32_t wholeSpaceEnd = 0xFFFFFFFF;  // DescLocation.highPc of an expression that holds everywhere

std::string Text(const char* text) {
  return PrintableName(text);
}

}  // namespace

std::string RangeText(uint32_t low, uint32_t high) {
  return fmt::format("0x{:08X}..0x{:08X}", low, high);
}

const char* LanguageName(uint32_t language) {
  constexpr const char* names[] = {"", "assembly", "Modula-2", "C", "C++"};  // by DescLanguage
  return language < std::size(names) ? names[language] : "";
}

void RecordText::WriteModule(size_t index, const DescModule* module, int extendResult) {
  WriteHead(fmt::format("unit {}: {}", index, Text(module->name)), module);
  if (extendResult == 0) out_.Write("  not read completely: its debug information is corrupt\n");
  WriteContents(module);
  out_.Put('\n');
}

void RecordText::WriteHead(const std::string& title, const DescModule* module) {
  out_.Write(paint_(Paint::heading, title));
  if (*LanguageName(module->language) != '\0') out_.Print("  {}", LanguageName(module->language));
  if (module->hasRange != 0) out_.Print("  {}", paint_(Paint::address, RangeText(module->lowPc, module->highPc)));
  out_.Put('\n');
  if (module->directory != nullptr && *module->directory != '\0') {
    out_.Print("  directory    {}\n", Text(module->directory));
  }
}

void RecordText::WriteContents(const DescModule* module) {
  const DescModuleExt* ext = module->ext;
  if (!format_.dwarf1 && ext != nullptr) format_.addressSize = ext->addressSize;
  if (ext != nullptr) WriteExt(ext);
  WriteProcs(module->procs);
  WriteVars(module->vars, module->ext->addressSize);
  WriteTypes(module->types);
  WriteFiles(module->files);
  WriteLines(module->lineBlocks);
  if (ext == nullptr) return;
  WriteInlinedCalls(ext->inlinedCalls);
  WriteFrames(ext->frames);
  for (const DescModule* merged = ext->mergedModules; merged != nullptr; merged = merged->next) {
    WriteHead("  merged unit: " + Text(merged->name), merged);
    WriteContents(merged);
  }
}

void RecordText::WriteExt(const DescModuleExt* ext) {
  for (const DescAddrRange* range = ext->addrRanges; range != nullptr; range = range->next) {
    out_.Print("  code         {}, last address included\n",
               paint_(Paint::address, RangeText(range->low, range->high)));
  }
  if (ext->globalNames == nullptr) return;
  out_.Print("  index        {} names:", CountRecords(ext->globalNames));
  for (const DescGlobalName* name = ext->globalNames; name != nullptr; name = name->next) {
    out_.Print(" {}", Text(name->name));
  }
  out_.Put('\n');
}

void RecordText::WriteTitle(const char* title, size_t count) {
  out_.Print("  {} ({})\n", paint_(Paint::heading, title), count);
}

void RecordText::WriteProcs(const DescProc* procs) {
  if (procs == nullptr) return;
  WriteTitle("procedures", CountRecords(procs));
  for (const DescProc* proc = procs; proc != nullptr; proc = proc->next) WriteProc(proc);
}

void RecordText::WriteProc(const DescProc* proc) {
  const bool hasCode = proc->lowPc != 0 || proc->highPc != 0;
  out_.Print("    {}  {}\n",
             hasCode ? paint_(Paint::address, RangeText(proc->lowPc, proc->highPc)) : fmt::format("{:<22}", "no code"),
             paint_(Paint::name, Prototype(proc)));
  if (proc->frameBase != nullptr) out_.Print("      frame base   {}\n", LocationsText(proc->frameBase));
  if (proc->returnAddress != nullptr) out_.Print("      return to    {}\n", LocationsText(proc->returnAddress));
  if (proc->callKind == CALL_NOCALL) out_.Write("      not to be called\n");
  WriteProcVars("param", proc->params);
  WriteProcVars("local", proc->locals);
  if (proc->codeMarks == nullptr) return;
  out_.Write("      code marks  ");
  for (const DescCodeMark* mark = proc->codeMarks; mark != nullptr; mark = mark->next) {
    out_.Print(" 0x{:08X}", mark->address);
  }
  out_.Put('\n');
}

void RecordText::WriteProcVars(const char* what, const DescVar* vars) {
  for (const DescVar* var = vars; var != nullptr; var = var->next) {
    out_.Print("      {}  {:<36}  {}\n", what, Declaration(var->type, Text(var->name)), LocationsText(var->location));
  }
}

// The one address of a variable that has one.
bool RecordText::HasAddress(const DescVar* var, uint32_t& address) const {
  return var->location != nullptr && StaticAddress(var->location->expression, format_, address) && !var->location->next;
}

// What the linker threw away is not listed.
void RecordText::WriteVars(const DescVar* vars, uint8_t addressSize) {
  std::vector<const DescVar*> listed;
  uint32_t address = 0;
  for (const DescVar* var = vars; var != nullptr; var = var->next) {
    if (!HasAddress(var, address) || !marks_.Has(address, addressSize)) listed.push_back(var);
  }
  if (listed.empty()) return;
  WriteTitle("variables", listed.size());
  for (const DescVar* var : listed) {
    const bool isStatic = HasAddress(var, address);
    const std::string place = isStatic ? fmt::format("0x{:08X}", address) : fmt::format("{:<10}", "");
    out_.Print("    {}  {:>6}  {}", paint_(Paint::address, place), var->byteSize,
               paint_(Paint::name, Declaration(var->type, Text(var->name))));
    if (!isStatic) out_.Print("  {}", paint_(Paint::faint, LocationsText(var->location)));
    out_.Put('\n');
  }
}

std::string RecordText::LocationsText(const DescLocation* locations) const {
  if (locations == nullptr) return "no location";
  std::string text;
  for (const DescLocation* location = locations; location != nullptr; location = location->next) {
    if (!text.empty()) text += " | ";
    if (location->lowPc != 0 || location->highPc != wholeSpaceEnd) {
      text += fmt::format("0x{:X}..0x{:X}: ", location->lowPc, location->highPc);
    }
    text += ExpressionText(location->expression, format_);
  }
  return text;
}

void RecordText::WriteTypes(const DescType* types) {
  if (types == nullptr) return;
  WriteTitle("types", CountRecords(types));
  size_t number = 0;
  for (const DescType* type = types; type != nullptr; type = type->next, number++) {
    out_.Print("    {}  {:>6}  {}\n", paint_(Paint::faint, fmt::format("{:<6}", fmt::format("T{}", number))),
               type->byteSize, paint_(Paint::name, Definition(type)));
    WriteMembers(type);
  }
}

void RecordText::WriteMembers(const DescType* type) {
  if (type->kind == KIND_ENUM) WriteEnumerators(type->items.enumerators);
  if (type->kind != KIND_STRUCT && type->kind != KIND_UNION && type->kind != KIND_CLASS) return;
  for (const DescVar* member = type->items.members; member != nullptr; member = member->next) {
    out_.Print("              {:>6}  {}", MemberOffset(member), Declaration(member->type, Text(member->name)));
    if (member->bitSize != 0) out_.Print(" : {}  bit {}", member->bitSize, member->bitOffset);
    out_.Put('\n');
  }
  for (const DescProc* proc = type->target.memberFunctions; proc != nullptr; proc = proc->next) {
    out_.Print("                      {}\n", Prototype(proc));
  }
}

void RecordText::WriteEnumerators(const DescEnumerator* enumerators) {
  for (const DescEnumerator* item = enumerators; item != nullptr; item = item->next) {
    out_.Print("              {:>6}  {}\n", item->value, Text(item->name));
  }
}

std::string RecordText::MemberOffset(const DescVar* member) const {
  uint32_t offset = 0;
  if (member->location == nullptr) return "";
  if (ConstantOffset(member->location->expression, format_, offset)) return fmt::format("+{}", offset);
  return LocationsText(member->location);
}

void RecordText::WriteFiles(const DescFile* files) {
  if (files == nullptr) return;
  WriteTitle("files", CountRecords(files));
  for (const DescFile* file = files; file != nullptr; file = file->next) out_.Print("    {}\n", Text(file->fullName));
}

void RecordText::WriteLines(const DescLineBlock* blocks) {
  if (blocks == nullptr) return;
  WriteTitle("line blocks", CountRecords(blocks));
  for (const DescLineBlock* block = blocks; block != nullptr; block = block->next) {
    const std::string name = Text(block->fileName);
    out_.Print("    {}  {} rows\n", name.empty() ? "no file" : name, block->count);
    if (block->addresses == nullptr || block->lines == nullptr) continue;
    for (int32_t i = 0; i < block->count; i++) {
      out_.Print("      {}  {}", paint_(Paint::address, fmt::format("0x{:08X}", block->addresses[i])), block->lines[i]);
      if (block->columns != nullptr && block->columns[i] != 0) out_.Print(":{}", block->columns[i]);
      out_.Put('\n');
    }
  }
}

void RecordText::WriteInlinedCalls(const DescInlinedCall* calls) {
  constexpr uint32_t deepest = 16;  // the indent of a deeper call is that of this depth
  if (calls == nullptr) return;
  WriteTitle("inlined calls", CountRecords(calls));
  for (const DescInlinedCall* call = calls; call != nullptr; call = call->next) {
    const size_t indent = size_t{2} * (std::clamp(call->depth, uint32_t{1}, deepest) - 1);
    out_.Print("    {}  {:{}}{}", paint_(Paint::address, RangeText(call->lowPc, call->highPc)), "", indent,
               paint_(Paint::name, Text(call->name)));
    const std::string file = Text(call->fileName);
    if (!file.empty() || call->line != 0) out_.Print("  {}:{}", file, call->line);
    if (call->column != 0) out_.Print(":{}", call->column);
    out_.Put('\n');
  }
}

void RecordText::WriteFrames(const Dwarf2Fde* frames) {
  if (frames == nullptr) return;
  WriteTitle("frame descriptions", CountRecords(frames));
  for (const Dwarf2Fde* frame = frames; frame != nullptr; frame = frame->next) {
    out_.Print("    {}", paint_(Paint::address, RangeText(frame->lowPc, frame->highPc)));
    const Dwarf2Cie* cie = frame->cie;
    if (cie != nullptr) {
      out_.Print("  code x{}, data x{}, return in r{}", cie->codeAlignment, cie->dataAlignment, cie->returnRegister);
    }
    out_.Put('\n');
    if (cie == nullptr) continue;
    const auto [found, isFirst] = cieFrames_.try_emplace(cie);
    if (isFirst) found->second = CallFrames(cie->instructions, cie->instructionLength, *cie, format_);
    if (isFirst || cie->instructionLength <= mostRepeated) {
      WriteCallFrames(found->second, frame->lowPc);
    } else {
      out_.Print("      (and the {} bytes of shared instructions shown above)\n", cie->instructionLength);
    }
    WriteCallFrames(CallFrames(frame->instructions, frame->instructionLength, *cie, format_), frame->lowPc);
  }
}

void RecordText::WriteCallFrames(const CallFrames& frames, uint32_t start) {
  frames.ForEachLine(
      start, [this](const std::string& address, std::string_view text) { out_.Print("      {}{}\n", address, text); });
}

}  // namespace elfload
