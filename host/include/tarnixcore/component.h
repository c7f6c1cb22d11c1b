// The class that every plug-in component derives from, and the arguments of its operations.
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

// A row of a component's command table. A row with a null name ends the table.
struct Disp_CmdTableH {
  const char* name;                                       // one word
  int (*handler)(Component* component, char* arguments);  // null: the command does nothing, with the result 0
  const char* parameters;                                 // "-" for none
  const char* help;
};

// Calls the handler of the row that has the first word of `line` as its name, without regard to case, with the rest of
// the line from its next word on. Returns the handler's result; 0 when no row has that name, or `line` or `table` is
// null.
TARNIX_API int ExecCommandTableH(Component* component, char* line, const Disp_CmdTableH* table);

using ComponentPrintFct = void (*)(const char* text);

// The order of the virtual operations is the order of their slots, which plug-in and host agree on. Add none in
// between.
class TARNIX_API Component {
 public:
  explicit Component(const char* name);  // `name` is not copied: it must outlive the component
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;
  virtual ~Component();
  virtual const char* Name();
  virtual int Type() = 0;  // 4 for loaders of object files
  // A request of the host by number, and a command as the user typed it. 1 when done, 0 when refused or unknown.
  virtual int Execute(int request, Argument* argument) = 0;
  virtual int Execute(char* commandLine) = 0;
  virtual int Update(int request, Argument* argument);  // returns 0
  virtual ComponentPrintFct GetComponentPrintFct();     // returns null
  virtual int SetMode();                                // returns 0

 private:
  const char* name_;
};
