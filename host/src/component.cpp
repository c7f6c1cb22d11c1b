// The base of every component, and the dispatch of its command lines.
#include "tarnixcore/component.h"

#include <string_view>

#include "ascii.h"

Component::Component(const char* name) : name_(name) {}

Component::~Component() = default;

const char* Component::Name() {
  return name_;
}

int Component::Update(int /*request*/, Argument* /*argument*/) {
  return 0;
}

ComponentPrintFct Component::GetComponentPrintFct() {
  return nullptr;
}

int Component::SetMode() {
  return 0;
}

int ExecCommandTableH(Component* component, char* line, const Disp_CmdTableH* table) {
  if (line == nullptr || table == nullptr) {
    return 0;
  }
  while (IsBlank(*line)) {
    ++line;
  }
  char* arguments = line;
  while (*arguments != 0 && !IsBlank(*arguments)) {
    ++arguments;
  }
  const std::string_view command(line, static_cast<size_t>(arguments - line));
  while (IsBlank(*arguments)) {
    ++arguments;
  }
  for (const Disp_CmdTableH* row = table; row->name != nullptr; ++row) {
    if (EqualIgnoringCase(row->name, command)) {
      return row->handler != nullptr ? row->handler(component, arguments) : 0;
    }
  }
  return 0;
}
