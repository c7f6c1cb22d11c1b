// The class that every plug-in component derives from, and what its operations are called with.
#pragma once

#include <cstdint>

#include "tarnixcore/export.h"

class Component;

// Argument of Execute(1001): a section by name.
struct Argument {
  char* name;     // in: section name
  uint32_t size;  // out: size in bytes, 0 when the section is missing
  char* buffer;   // in: room for `size` bytes, or null to ask for the size
};

// A row of a component's command table; a row with a null name ends the table.
struct Disp_CmdTableH {
  const char* name;
  int (*handler)(Component* component, char* arguments);
  const char* parameters;  // "-" for none
  const char* help;
};

// Calls the handler of the row that the first word of `line` names, without regard to case, with the rest of the line.
// Gives the handler's result, or 0 when no row has that name.
TARNIX_API int ExecCommandTableH(Component* component, char* line, const Disp_CmdTableH* table);

using ComponentPrintFct = void (*)(const char* text);

// Virtual operations stand in slot order: a plug-in and its host agree on it.
class TARNIX_API Component {
 public:
  explicit Component(const char* name);
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;
  virtual ~Component();
  virtual const char* Name();
  virtual int Type() = 0;
  virtual int Execute(int request, Argument* argument) = 0;
  virtual int Execute(char* commandLine) = 0;
  virtual int Update(int request, Argument* argument);  // gives 0
  virtual ComponentPrintFct GetComponentPrintFct();     // gives null
  virtual int SetMode();                                // gives 0

 private:
  const char* name_;  // the caller's text; it outlives the component
};
