// Debug records as short texts, so that a test compares whole lists at once.
#pragma once

#include <cstdio>
#include <string>

#include "records/debug_records.h"
#include "support/host_fixture.h"

inline std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "%x", value);
  return text;
}

// "FILE address:line address:line:column ...", addresses in hexadecimal; columns of 0 are left out.
inline std::string Describe(const DescLineBlock& block) {
  std::string text = block.fileName;
  for (int32_t i = 0; i < block.count; ++i) {
    text += " " + Hex(block.addresses[i]) + ":" + std::to_string(block.lines[i]);
    text += block.columns[i] == 0 ? "" : ":" + std::to_string(block.columns[i]);
  }
  return text;
}

// "BASE<FULL>", or "BASE" alone where the two are the same.
inline std::string Describe(const DescFile& file) {
  const std::string full = file.fullName;
  return file.baseName == full ? full : file.baseName + ("<" + full + ">");
}

// "NAME low-high", addresses in hexadecimal.
inline std::string Describe(const DescProc& proc) {
  return proc.name + (" " + Hex(proc.lowPc) + "-" + Hex(proc.highPc));
}

inline std::string NameOf(const DescType* type) { return type == nullptr ? "-" : type->name; }

// "NAME:TYPE".
inline std::string Describe(const DescVar& var) { return var.name + (":" + NameOf(var.type)); }

template <class Record>
Texts Described(const Record* list) {
  return Listed(list, [](const Record& record) { return Describe(record); });
}
template <class Record>
std::string DescribedInLine(const Record* list) {
  std::string line;
  for (const std::string& text : Described(list)) line += (line.empty() ? "" : " ") + text;
  return line;
}
inline std::string Describe(const DescEnumerator& item) { return item.name + ("=" + std::to_string(item.value)); }
inline std::string Describe(const DescDimension& item) {
  return std::to_string(item.low) + ".." + std::to_string(item.high);
}

// "KIND NAME SIZE ..." and the three words of the kind.
inline std::string Describe(const DescType& type) {
  const std::string head = std::to_string(type.kind) + " " + type.name + " " + std::to_string(type.byteSize);
  switch (type.kind) {
    case KIND_BASIC:
      return head + " encoding " + std::to_string(type.items.encoding) + " of " + NameOf(type.target.type);
    case KIND_ENUM:
      return head + " {" + DescribedInLine(type.items.enumerators) + "} " + std::to_string(type.target.word);
    case KIND_STRUCT:
    case KIND_UNION:
    case KIND_CLASS:
      return head + " {" + DescribedInLine(type.items.members) + "} {" + DescribedInLine(type.target.memberFunctions) +
             "}";
    case KIND_ARRAY:
      return head + " [" + DescribedInLine(type.items.dimensions) + "] " + std::to_string(type.target.count) + " of " +
             NameOf(type.element.type);
    case KIND_FUNCTION:
      return head + " (" + DescribedInLine(type.items.params) + ") -> " + NameOf(type.target.type) + " " +
             std::to_string(type.element.word);
    default:
      return head + " -> " + NameOf(type.target.type) + " flags " + std::to_string(type.element.flags.flags);
  }
}

// "NAME:TYPE", and "@low-high" for each range of a location that does not hold everywhere.
inline std::string VariableText(const DescVar& variable) {
  std::string text = Describe(variable);
  for (const DescLocation* at = variable.location; at != nullptr; at = at->next) {
    if (at->lowPc != 0 || at->highPc != 0xFFFFFFFF) text += "@" + Hex(at->lowPc) + "-" + Hex(at->highPc);
  }
  return text;
}
inline std::string VariablesText(const DescVar* variables) {
  std::string text;
  for (const std::string& one : Listed(variables, VariableText)) text += (text.empty() ? "" : " ") + one;
  return text;
}

// A module as a text of procedures, variables, types but int, newest first, and inlined calls.
inline Texts ModuleTexts(const DescModule* module) {
  Texts texts = Listed(module->procs, [](const DescProc& proc) {
    return Describe(proc) + " (" + VariablesText(proc.params) + ") {" + VariablesText(proc.locals) + "}";
  });
  for (const std::string& text : Listed(module->vars, VariableText)) texts.push_back(text);
  for (const DescType* type = module->types; type != nullptr; type = type->next) {
    if (type->name != std::string("int")) texts.push_back(Describe(*type));
  }
  for (const DescInlinedCall* call = module->ext->inlinedCalls; call != nullptr; call = call->next) {
    texts.push_back("call " + std::string(call->name) + " " + Hex(call->lowPc) + "-" + Hex(call->highPc) + " depth " +
                    std::to_string(call->depth) + " " + call->fileName + ":" + std::to_string(call->line) + ":" +
                    std::to_string(call->column));
  }
  return texts;
}
