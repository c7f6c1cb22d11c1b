#include "json/record_json.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "json/session_json.h"

namespace elfload {

void RecordJson::WriteModule(const DescModule* module, int extendResult, const std::optional<FailureReason>& failure) {
  types_.Fill(module);
  WriteModuleRecord(module, extendResult, failure);
}

void RecordJson::WriteModuleRecord(const DescModule* module, std::optional<int> extendResult,
                                   const std::optional<FailureReason>& failure) {
  if (!format_.dwarf1 && module->ext != nullptr) format_.addressSize = module->ext->addressSize;
  json_.BeginObject();
  json_.Key("name"), json_.Text(module->name);
  json_.Key("objectFile"), json_.Text(module->objectFile);
  json_.Key("directory"), json_.Text(module->directory);
  json_.Key("lowPc"), json_.Number(module->lowPc);
  json_.Key("highPc"), json_.Number(module->highPc);
  json_.Key("loadedKinds"), json_.Number(module->loadedKinds);
  json_.Key("hasRange"), json_.Number(module->hasRange);
  json_.Key("typeCount"), json_.Number(module->typeCount);
  json_.Key("language"), json_.Number(module->language);
  if (extendResult.has_value()) json_.Key("extend"), json_.Number(int32_t{*extendResult});
  WriteFailure(json_, failure);
  json_.Key("ext"), WriteExt(module->ext);
  json_.Key("procs"), WriteProcs(module->procs);
  json_.Key("vars"), WriteVars(module->vars);
  json_.Key("files"), WriteFiles(module->files);
  json_.Key("lineBlocks"), WriteLineBlocks(module->lineBlocks);
  json_.Key("types"), WriteTypes(module->types);
  if (format_.published && !format_.dwarf1) {
    json_.Key("inlinedCalls"), WriteInlinedCalls(module->ext != nullptr ? module->ext->inlinedCalls : nullptr);
  }
  json_.EndObject();
  json_.NewLine();
}

void RecordJson::WriteExt(const DescModuleExt* ext) {
  if (ext == nullptr) {
    json_.Null();
    return;
  }
  json_.BeginObject();
  json_.Key("lineOffset"), json_.Number(ext->lineOffset);
  json_.Key("firstEntry"), json_.Number(ext->firstEntry);
  json_.Key("addressSize"), json_.Number(uint32_t{ext->addressSize});
  json_.Key("unitOffset"), json_.Number(ext->unitOffset);
  json_.Key("bitNumbering"), json_.Number(ext->bitNumbering);
  json_.Key("addrRanges"), json_.BeginArray();
  for (const DescAddrRange* range = ext->addrRanges; range != nullptr; range = range->next) {
    json_.BeginArray();
    json_.Number(range->low);
    json_.Number(range->high);
    json_.EndArray();
  }
  json_.EndArray();
  json_.Key("globalNames"), json_.BeginArray();
  for (const DescGlobalName* name = ext->globalNames; name != nullptr; name = name->next) json_.Text(name->name);
  json_.EndArray();
  json_.Key("frames"), WriteFrames(ext->frames);
  json_.Key("mergedModules"), json_.BeginArray();
  for (const DescModule* merged = ext->mergedModules; merged != nullptr; merged = merged->next) {
    WriteModuleRecord(merged, std::nullopt, std::nullopt);
  }
  json_.EndArray();
  json_.EndObject();
}

void RecordJson::WriteFrames(const Dwarf2Fde* frames) {
  json_.BeginArray();
  for (const Dwarf2Fde* frame = frames; frame != nullptr; frame = frame->next) {
    json_.BeginObject();
    json_.Key("lowPc"), json_.Number(frame->lowPc);
    json_.Key("highPc"), json_.Number(frame->highPc);
    json_.Key("instructions"), json_.Hex(frame->instructions, frame->instructionLength);
    json_.Key("cie");
    if (const Dwarf2Cie* cie = frame->cie; cie != nullptr) {
      json_.BeginObject();
      json_.Key("offset"), json_.Number(cie->offset);
      json_.Key("codeAlignment"), json_.Number(cie->codeAlignment);
      json_.Key("dataAlignment"), json_.Number(cie->dataAlignment);
      json_.Key("returnRegister"), json_.Number(cie->returnRegister);
      json_.Key("instructions"), json_.Hex(cie->instructions, cie->instructionLength);
      json_.EndObject();
    } else {
      json_.Null();
    }
    json_.EndObject();
  }
  json_.EndArray();
}

void RecordJson::WriteProcs(const DescProc* procs) {
  json_.BeginArray();
  for (const DescProc* proc = procs; proc != nullptr; proc = proc->next) WriteProc(proc);
  json_.EndArray();
}

void RecordJson::WriteProc(const DescProc* proc) {
  json_.BeginObject();
  json_.Key("name"), json_.Text(proc->name);
  json_.Key("returnType"), WriteReference(proc->returnType);
  json_.Key("prototyped"), json_.Number(proc->prototyped);
  json_.Key("lowPc"), json_.Number(proc->lowPc);
  json_.Key("highPc"), json_.Number(proc->highPc);
  json_.Key("returnAddress"), WriteLocations(proc->returnAddress);
  json_.Key("frameBase"), WriteLocations(proc->frameBase);
  json_.Key("locals"), WriteVars(proc->locals);
  json_.Key("params"), WriteVars(proc->params);
  json_.Key("callKind"), json_.Number(proc->callKind);
  json_.Key("segment"), json_.Number(uint32_t{proc->segment});
  json_.Key("codeMarks"), json_.BeginArray();
  for (const DescCodeMark* mark = proc->codeMarks; mark != nullptr; mark = mark->next) json_.Number(mark->address);
  json_.EndArray();
  json_.EndObject();
}

void RecordJson::WriteVars(const DescVar* vars) {
  json_.BeginArray();
  for (const DescVar* var = vars; var != nullptr; var = var->next) WriteVar(var);
  json_.EndArray();
}

void RecordJson::WriteVar(const DescVar* var) {
  json_.BeginObject();
  json_.Key("name"), json_.Text(var->name);
  json_.Key("type"), WriteReference(var->type);
  json_.Key("byteSize"), json_.Number(var->byteSize);
  json_.Key("bitOffset"), json_.Number(uint32_t{var->bitOffset});
  json_.Key("bitSize"), json_.Number(uint32_t{var->bitSize});
  json_.Key("location"), WriteLocations(var->location);
  json_.Key("segment"), json_.Number(uint32_t{var->segment});
  json_.EndObject();
}

void RecordJson::WriteLocations(const DescLocation* locations) {
  if (locations == nullptr) {
    json_.Null();
    return;
  }
  json_.BeginArray();
  for (const DescLocation* location = locations; location != nullptr; location = location->next) {
    json_.BeginObject();
    json_.Key("lowPc"), json_.Number(location->lowPc);
    json_.Key("highPc"), json_.Number(location->highPc);
    json_.Key("expression"), json_.Hex(location->expression, ExpressionLength(location->expression, format_));
    json_.EndObject();
  }
  json_.EndArray();
}

void RecordJson::WriteFiles(const DescFile* files) {
  json_.BeginArray();
  for (const DescFile* file = files; file != nullptr; file = file->next) {
    json_.BeginObject();
    json_.Key("baseName"), json_.Text(file->baseName);
    json_.Key("fullName"), json_.Text(file->fullName);
    json_.EndObject();
  }
  json_.EndArray();
}

void RecordJson::WriteLineBlocks(const DescLineBlock* blocks) {
  json_.BeginArray();
  for (const DescLineBlock* block = blocks; block != nullptr; block = block->next) {
    json_.BeginObject();
    json_.Key("fileName"), json_.Text(block->fileName);
    json_.Key("count"), json_.Number(block->count);
    json_.Key("addresses"), WriteWords(block->addresses, block->count);
    json_.Key("lines"), WriteWords(block->lines, block->count);
    json_.Key("columns");
    if (block->columns != nullptr) {
      WriteWords(block->columns, block->count);
    } else {
      json_.Null();
    }
    json_.EndObject();
  }
  json_.EndArray();
}

void RecordJson::WriteWords(const uint32_t* words, int32_t count) {
  json_.BeginArray();
  for (int32_t i = 0; words != nullptr && i < count; i++) json_.Number(words[i]);
  json_.EndArray();
}

void RecordJson::WriteInlinedCalls(const DescInlinedCall* calls) {
  json_.BeginArray();
  for (const DescInlinedCall* call = calls; call != nullptr; call = call->next) {
    json_.BeginObject();
    json_.Key("name"), json_.Text(call->name);
    json_.Key("lowPc"), json_.Number(call->lowPc);
    json_.Key("highPc"), json_.Number(call->highPc);
    json_.Key("fileName"), json_.Text(call->fileName);
    json_.Key("line"), json_.Number(call->line);
    json_.Key("column"), json_.Number(call->column);
    json_.Key("depth"), json_.Number(call->depth);
    json_.EndObject();
  }
  json_.EndArray();
}

void RecordJson::WriteTypes(const DescType* types) {
  json_.BeginArray();
  for (const DescType* type = types; type != nullptr; type = type->next) WriteType(type);
  json_.EndArray();
}

void RecordJson::WriteType(const DescType* type) {
  json_.BeginObject();
  json_.Key("key"), json_.Number(type->key);
  json_.Key("name"), json_.Text(type->name);
  json_.Key("byteSize"), json_.Number(type->byteSize);
  json_.Key("kind"), json_.Number(type->kind);
  switch (type->kind) {
    case KIND_ENUM:
      json_.Key("target"), json_.Number(type->target.count);
      json_.Key("items"), json_.BeginArray();
      for (const DescEnumerator* item = type->items.enumerators; item != nullptr; item = item->next) {
        json_.BeginObject();
        json_.Key("name"), json_.Text(item->name);
        json_.Key("value"), json_.Number(item->value);
        json_.EndObject();
      }
      json_.EndArray();
      json_.Key("element"), json_.Number(uint32_t{0});
      break;
    case KIND_STRUCT:
    case KIND_UNION:
    case KIND_CLASS:
      json_.Key("target"), WriteProcs(type->target.memberFunctions);
      json_.Key("items"), WriteVars(type->items.members);
      json_.Key("element"), json_.Number(uint32_t{0});
      break;
    case KIND_ARRAY:
      json_.Key("target"), json_.Number(type->target.count);
      json_.Key("items"), json_.BeginArray();
      for (const DescDimension* item = type->items.dimensions; item != nullptr; item = item->next) {
        json_.BeginArray();
        json_.Number(item->low);
        json_.Number(item->high);
        json_.EndArray();
      }
      json_.EndArray();
      json_.Key("element"), WriteReference(type->element.type);
      break;
    default:
      WriteDerived(type);
      break;
  }
  json_.EndObject();
}

// The kinds that refer to one other type.
void RecordJson::WriteDerived(const DescType* type) {
  json_.Key("target"), WriteReference(type->target.type);
  json_.Key("items");
  switch (type->kind) {
    case KIND_BASIC:
      json_.Number(type->items.encoding);
      json_.Key("element"), json_.Number(uint32_t{0});
      break;
    case KIND_FUNCTION:
      WriteVars(type->items.params);
      json_.Key("element"), json_.Number(type->element.prototyped);
      break;
    default:
      json_.Number(uint32_t{0});
      json_.Key("element"), json_.Number(uint32_t{type->element.flags.flags});
      break;
  }
}

void RecordJson::WriteReference(const DescType* type) {
  using rapidjson::internal::i32toa;
  using rapidjson::internal::u32toa;
  if (type == nullptr) {
    json_.Null();
    return;
  }
  const TypeIndex::Place* place = types_.Find(type);
  if (place != nullptr) {
    json_.ShortText([place](char* out) {
      if (place->merged >= 0) {
        *out++ = 'M';
        out = i32toa(place->merged, out);
        *out++ = '.';
      }
      *out++ = 'T';
      return u32toa(place->number, out);
    });
    return;
  }
  if (isShared_.insert(type).second) sharedTypes_.push_back(type);
  json_.Text(std::string("shared:") + (type->name != nullptr ? type->name : ""));
}

void WriteSharedTypes(JsonWriter& json, std::vector<const DescType*> types) {
  std::stable_sort(types.begin(), types.end(),
                   [](const DescType* a, const DescType* b) { return std::strcmp(a->name, b->name) < 0; });
  types.erase(std::unique(types.begin(), types.end(),
                          [](const DescType* a, const DescType* b) { return std::strcmp(a->name, b->name) == 0; }),
              types.end());
  json.BeginArray();
  for (const DescType* type : types) {
    json.BeginObject();
    json.Key("name"), json.Text(type->name);
    json.Key("byteSize"), json.Number(type->byteSize);
    json.Key("items"), json.Number(type->items.encoding);
    json.EndObject();
  }
  json.EndArray();
}

}  // namespace elfload
